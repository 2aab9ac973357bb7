#pragma once
// The library's one result type: an optional integer code and an optional message, with a fixed
// catalogue of shared predefined codes. Callers that need their own message use withMsg, which
// copies; the predefined instances are never modified by the library.
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "ZefaBase/ZefaExport.h"

class ZefaStatusCode;
using ZefaStatusCodeRef = std::shared_ptr<ZefaStatusCode>;

// The catalogue: X(name, code, message), in declaration order.
#define ZEFA_STATUS_CODES(X)                                                         \
  X(Success, 200, "success")                                                         \
  X(Failed, 400, "failed")                                                           \
  X(ErrorParameter, 422, "error parameter")                                          \
  X(ErrorInternal, 500, "error internal")                                            \
  X(CLIENT_CONNECTION_ERROR, 11001, "CLIENT_CONNECTION_ERROR")                       \
  X(CLIENT_CODE_NOT_SUCCESS, 11002, "CLIENT_CODE_NOT_SUCCESS")                       \
  X(CLIENT_HAS_NOT_LOGIN, 11003, "CLIENT_HAS_NOT_LOGIN")                             \
  X(CLIENT_NOT_SUPPORT_THIS_LOGINTYPE, 11004, "CLIENT_NOT_SUPPORT_THIS_LOGINTYPE")   \
  X(CLIENT_GET_LOGIN_PARAMS_FAIL, 11005, "CLIENT_GET_LOGIN_PARAMS_FAIL")             \
  X(CLIENT_SDK_NOT_INIT, 11008, "CLIENT_SDK_NOT_INIT")                               \
  X(CLIENT_AUTO_LOGIN_FAIL, 11009, "CLIENT_AUTO_LOGIN_FAIL")                         \
  X(CLIENT_HAS_LOGIN, 11010, "CLIENT_HAS_LOGIN")                                     \
  X(CLIENT_APPSTORE_PAY_NOT_CONNECT, 14001, "CLIENT_APPSTORE_PAY_NOT_CONNECT")       \
  X(CLIENT_APPSTORE_PAY_RESPONSE_NOTOK, 14002, "CLIENT_APPSTORE_PAY_RESPONSE_NOTOK") \
  X(CLIENT_APPSTORE_PAY_SKU_NOT_FOUND, 14003, "CLIENT_APPSTORE_PAY_SKU_NOT_FOUND")   \
  X(CLIENT_APPSTORE_PAY_BUY_FAIL, 14004, "CLIENT_APPSTORE_PAY_BUY_FAIL")             \
  X(CLIENT_UNKNOW_EXCEPTION, 13001, "CLIENT_UNKNOW_EXCEPTION")

// Anything with an optional code and message, rendered on one line for logs.
class ZEFA_EXPORT ZefaBaseCode {
 public:
  std::optional<int64_t> code;
  std::optional<std::string> msg;

  // ZefaBaseCode{code=Optional(200), msg=Optional("success")}; absent parts read nil.
  std::string toString() const;

 protected:
  ZefaBaseCode() = default;
  ~ZefaBaseCode() = default;
};

class ZefaStatusCodeBuilder;

class ZEFA_EXPORT ZefaStatusCode : public ZefaBaseCode {
 public:
  // A code with both parts absent.
  ZefaStatusCode() = default;

#define ZEFA_DECLARE_STATUS_CODE(name, number, text) static const ZefaStatusCodeRef& name();
  ZEFA_STATUS_CODES(ZEFA_DECLARE_STATUS_CODE)
#undef ZEFA_DECLARE_STATUS_CODE

  static ZefaStatusCodeBuilder Builder();

  // The code; stops the program when it is absent.
  int64_t getCode() const;
  void setCode(int64_t newCode) { code = newCode; }
  // The message; stops the program when it is absent.
  std::string getMsg() const;
  void setMsg(std::string newMsg) { msg = std::move(newMsg); }
  // A new object with this code and `newMsg`; this object is unchanged. Stops the program when
  // this code is absent.
  ZefaStatusCodeRef withMsg(std::string newMsg) const;
};

class ZEFA_EXPORT ZefaStatusCodeBuilder {
 public:
  ZefaStatusCodeBuilder() : builder_(std::make_shared<ZefaStatusCode>()) {}
  ZefaStatusCodeBuilder& code(int64_t code) {
    builder_->code = code;
    return *this;
  }
  ZefaStatusCodeBuilder& msg(std::string msg) {
    builder_->msg = std::move(msg);
    return *this;
  }
  // The object under construction itself, not a copy: later calls on this builder change it.
  ZefaStatusCodeRef build() const { return builder_; }

 private:
  ZefaStatusCodeRef builder_;
};
