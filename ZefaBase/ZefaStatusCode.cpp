#include "ZefaBase/ZefaStatusCode.h"

#include "ZefaBase/ZefaDescription.h"
#include "ZefaBase/ZefaFatal.h"

std::string ZefaBaseCode::toString() const {
  return "ZefaBaseCode{code=" + ZefaDescription::optional(code) +
         ", msg=" + ZefaDescription::optional(msg) + "}";
}

// Each predefined code is made on first use, once, and shared from then on.
#define ZEFA_DEFINE_STATUS_CODE(name, number, text)                                   \
  const ZefaStatusCodeRef& ZefaStatusCode::name() {                                   \
    static const ZefaStatusCodeRef shared = Builder().code(number).msg(text).build(); \
    return shared;                                                                    \
  }
ZEFA_STATUS_CODES(ZEFA_DEFINE_STATUS_CODE)
#undef ZEFA_DEFINE_STATUS_CODE

ZefaStatusCodeBuilder ZefaStatusCode::Builder() { return ZefaStatusCodeBuilder(); }

int64_t ZefaStatusCode::getCode() const {
  if (!code) ZefaFatal::stop("getCode() on a ZefaStatusCode whose code is absent");
  return *code;
}

std::string ZefaStatusCode::getMsg() const {
  if (!msg) ZefaFatal::stop("getMsg() on a ZefaStatusCode whose msg is absent");
  return *msg;
}

ZefaStatusCodeRef ZefaStatusCode::withMsg(std::string newMsg) const {
  ZefaStatusCodeBuilder builder;
  if (!code) ZefaFatal::stop("withMsg(_:) on a ZefaStatusCode whose code is absent");
  return builder.code(*code).msg(std::move(newMsg)).build();
}
