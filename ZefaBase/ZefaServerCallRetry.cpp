#include "ZefaBase/ZefaServerCallRetry.h"

#include <utility>

#include "ZefaBase/ZefaBlockCache.h"
#include "ZefaBase/ZefaDescription.h"
#include "ZefaBase/ZefaFatal.h"
#include "ZefaBase/ZefaLog.h"
#include "platform/ZefaPlatform.h"

namespace {

// The retrying call's log lines name the server call's file: callers know the two as one unit.
ZefaLogSite site(int64_t line) { return ZefaLogSite{"ZefaBase/ZefaServerCall", "call()", line}; }

// The request headers of the current settings. Every call sends them and the settings rarely
// change, so each thread keeps the last set it made and makes it again only when one of the
// settings it was made from has changed.
const std::optional<ZefaHeaders>& requestHeaders() {
  struct Made {
    std::string deviceIdKey, deviceId;
    std::optional<std::string> setHost;
    std::optional<ZefaHeaders> headers;
  };
  thread_local Made made;
  if (!made.headers || made.deviceIdKey != ZefaServerCall::DEVICE_ID_KEY ||
      made.deviceId != ZefaServerCall::DEVICE_ID || made.setHost != ZefaServerCall::SET_HOST) {
    made.headers = ZefaServerCall::getRequestHeaders();
    made.deviceIdKey = ZefaServerCall::DEVICE_ID_KEY;
    made.deviceId = ZefaServerCall::DEVICE_ID;
    made.setHost = ZefaServerCall::SET_HOST;
  }
  return made.headers;
}

}  // namespace

// A description given as text is used as it stands; nothing is left to render.
ZefaServerCallRetry::ZefaServerCallRetry(std::string printStr_, std::string url_,
                                         ZefaJsonObject params_, std::optional<int64_t> retryTime_,
                                         ZefaSuccessCallback success_, ZefaFailedCallback failed_)
    : ZefaServerCallRetry(DescribedAs{}, std::move(url_), std::move(params_), retryTime_,
                          std::move(success_), std::move(failed_)) {
  descriptionParts_.reset();
  descriptionText_ = std::move(printStr_);
}

ZefaServerCallRetry::ZefaServerCallRetry(DescribedAs described_, std::string url_,
                                         ZefaJsonObject params_, std::optional<int64_t> retryTime_,
                                         ZefaSuccessCallback success_, ZefaFailedCallback failed_)
    : url(std::move(url_)),
      params(std::move(params_)),
      retryTime(retryTime_),
      success(std::move(success_)),
      failed(std::move(failed_)),
      descriptionParts_(std::move(described_)) {}

// The body is freed from the leaves up, as a delivered reply is: letting it go out of scope makes
// the JSON library move each container's members through a work list of its own. (An object
// under destruction is no longer const.)
ZefaServerCallRetry::~ZefaServerCallRetry() {
  if (params) ZefaJsonText::release(const_cast<ZefaJsonObject&>(*params));
}

const std::optional<std::string>& ZefaServerCallRetry::printStr() const {
  if (!descriptionText_ && descriptionParts_) {
    descriptionText_ = " " + descriptionParts_->host + " " + descriptionParts_->path + " " +
                       (params ? ZefaDescription::describe(*params)
                               : ZefaDescription::describe(ZefaJsonObject{})) +
                       " ";
  }
  return descriptionText_;
}

void ZefaServerCallRetry::call() {
  ZefaLog::i(
      [&] {
        return "start to call server " + ZefaDescription::optional(url) + " " +
               ZefaDescription::optional(params);
      },
      site(112));
  std::shared_ptr<ZefaServerCallRetry> self = weak_from_this().lock();
  if (!self) ZefaFatal::stop("ZefaServerCallRetry::call() on an object not owned by shared_ptr");
  if (!url) ZefaFatal::stop("ZefaServerCallRetry::call() without a url");
  ZefaSDKUtils::postJson(
      *url, params, requestHeaders(), kTimeoutSeconds,
      // Each handler keeps the call alive; their holders are kept blocks, as the call is.
      ZefaKeptCallable([self](const ZefaJsonObject& reply) { self->onReply(reply); }),
      ZefaKeptCallable([self](const std::string& error) { self->onTransportFailure(error); }));
}

void ZefaServerCallRetry::callAgain() { call(); }

std::string ZefaServerCallRetry::prefix() const {
  return "ServerCall " + ZefaDescription::optional(printStr());
}

void ZefaServerCallRetry::fail(const ZefaStatusCodeRef& status) const {
  if (failed) failed(status);
}

void ZefaServerCallRetry::onReply(const ZefaJsonObject& reply) {
  const auto responseException = [&](int64_t line) {
    ZefaLog::e(prefix() + " with response data exception", site(line));
    fail(ZefaStatusCode::CLIENT_CODE_NOT_SUCCESS()->withMsg("response data exception"));
  };

  const auto state = reply.find("state");
  if (state == reply.end() || !state->second.is_object()) return responseException(121);
  const ZefaJsonObject& stateObject = state->second.get_ref<const ZefaJsonObject&>();
  const auto codeMember = stateObject.find("code");
  if (codeMember == stateObject.end()) return responseException(121);
  const std::optional<int64_t> code = ZefaJsonText::int64Value(codeMember->second);
  if (!code) return responseException(121);

  if (*code == 0) {
    const auto data = reply.find("data");
    if (data != reply.end() && data->second.is_object()) {
      const ZefaJsonObject& dataObject = data->second.get_ref<const ZefaJsonObject&>();
      ZefaLog::i([&] { return prefix() + " success " + ZefaDescription::describe(dataObject); },
                 site(132));
      if (success) success(dataObject);
      return;
    }
    ZefaLog::e(prefix() + " with lose data", site(128));
    fail(ZefaStatusCode::CLIENT_CODE_NOT_SUCCESS()->withMsg("lose data"));
    return;
  }

  const auto msg = stateObject.find("msg");
  if (msg == stateObject.end() || !msg->second.is_string()) return responseException(136);

  const ZefaStatusCodeRef status =
      ZefaStatusCode::Builder().code(*code).msg(msg->second.get<std::string>()).build();
  ZefaLog::e(prefix() + " with error " + ZefaDescription::optional(status->toString()), site(141));
  if (!retryTime) ZefaFatal::stop("ZefaServerCallRetry: retryTime is absent at a retry decision");
  if (*retryTime < 1) {
    fail(status);
    return;
  }
  *retryTime -= 1;
  ZefaLog::e(prefix() + " fail and retry", site(153));
  ZefaPlatform::current().mainQueue().after(kRetryDelaySeconds,
                                            [self = shared_from_this()] { self->callAgain(); });
}

void ZefaServerCallRetry::onTransportFailure(const std::string& error) {
  ZefaLog::e(prefix() + " " + error + " with CLIENT_CONNECTION_ERROR", site(162));
  fail(ZefaStatusCode::CLIENT_CONNECTION_ERROR()->withMsg(error));
}
