#pragma once
// One backend request in flight: posts a JSON body, reads the reply envelope, reports "data" or
// a status on the main thread, and repeats a backend failure after 3 seconds while retries are
// left. Owned by std::shared_ptr; it keeps itself alive while a reply or a retry is pending.
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "ZefaBase/ZefaExport.h"
#include "ZefaBase/ZefaJson.h"
#include "ZefaBase/ZefaServerCall.h"

class ZEFA_EXPORT ZefaServerCallRetry : public std::enable_shared_from_this<ZefaServerCallRetry> {
 public:
  // The pause before a backend failure is posted again.
  static constexpr double kRetryDelaySeconds = 3.0;
  // How long a request may stay idle.
  static constexpr double kTimeoutSeconds = 30.0;

  // Stores the arguments; nothing is sent before call().
  ZefaServerCallRetry(std::string printStr, std::string url, ZefaJsonObject params,
                      std::optional<int64_t> retryTime, ZefaSuccessCallback success,
                      ZefaFailedCallback failed);
  // The same, with the description " <host> <path> <params> " written only when a log line needs
  // it.
  struct DescribedAs {
    std::string host;
    std::string path;
  };
  ZefaServerCallRetry(DescribedAs described, std::string url, ZefaJsonObject params,
                      std::optional<int64_t> retryTime, ZefaSuccessCallback success,
                      ZefaFailedCallback failed);

  ~ZefaServerCallRetry();

  // Posts the request (with fresh headers). Stops the program when the object is not owned by a
  // std::shared_ptr.
  void call();
  // The retry timer's action: posts the same request again.
  void callAgain();

  const std::optional<std::string> url;        // the full URL, session token included
  const std::optional<ZefaJsonObject> params;  // the body
  std::optional<int64_t> retryTime;            // retries still allowed (main thread only)
  const ZefaSuccessCallback success;
  const ZefaFailedCallback failed;

  // The call's description, for log lines.
  const std::optional<std::string>& printStr() const;

 private:
  void onReply(const ZefaJsonObject& reply);
  void onTransportFailure(const std::string& error);
  void fail(const ZefaStatusCodeRef& status) const;
  std::string prefix() const;

  mutable std::optional<std::string> descriptionText_;
  std::optional<DescribedAs>
      descriptionParts_;  // what descriptionText_ is made of, until it is made
};
