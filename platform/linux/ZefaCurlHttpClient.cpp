#include "platform/linux/ZefaCurlHttpClient.h"

#include <curl/curl.h>

#include <strings.h>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "ZefaBase/ZefaFatal.h"
#include "platform/ZefaPlatform.h"

namespace {

constexpr double kDefaultTimeoutSeconds = 60.0;
constexpr size_t kMaxIdleHandles = 256;
constexpr int kPollMs = 1000;
// Connections kept open to one host at most; further requests to it wait in the client's queue
// (their idle timeout starts when they get a connection). A burst of requests so reuses
// connections instead of opening hundreds at once.
constexpr long kMaxConnectionsPerHost = 64;

void initialiseCurlOnce() {
  static const bool initialised = curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK;
  if (!initialised) ZefaFatal::stop("ZefaCurlHttpClient: libcurl failed to initialise");
}

size_t appendBody(char* data, size_t size, size_t count, void* target) {
  static_cast<std::string*>(target)->append(data, size * count);
  return size * count;
}

bool sameName(const std::string& a, const std::string& b) {
  return a.size() == b.size() && ::strncasecmp(a.data(), b.data(), a.size()) == 0;
}

// A CA bundle named by the usual environment variables, if any.
std::optional<std::string> caBundleFromEnvironment() {
  for (const char* name : {"CURL_CA_BUNDLE", "SSL_CERT_FILE"}) {
    const char* value = std::getenv(name);
    if (value != nullptr && *value != '\0') return std::string(value);
  }
  return std::nullopt;
}

}  // namespace

struct ZefaCurlHttpClient::Transfer {
  ZefaHttpRequest request;
  std::function<void(ZefaHttpResponse)> completion;
  CURL* easy = nullptr;
  curl_slist* headers = nullptr;
  std::string response;
  char error[CURL_ERROR_SIZE] = {};

  ~Transfer() { curl_slist_free_all(headers); }
};

std::shared_ptr<ZefaHttpClient> zefa::platform_defaults::makeHttpClient() {
  return std::make_shared<ZefaCurlHttpClient>();
}

ZefaCurlHttpClient::ZefaCurlHttpClient() : caBundle_(caBundleFromEnvironment()) {
  initialiseCurlOnce();
  multi_ = curl_multi_init();
  if (multi_ == nullptr) ZefaFatal::stop("ZefaCurlHttpClient: curl_multi_init failed");
  curl_multi_setopt(multi_, CURLMOPT_MAX_HOST_CONNECTIONS, kMaxConnectionsPerHost);
  worker_ = std::thread([this] { workerLoop(); });
}

ZefaCurlHttpClient::~ZefaCurlHttpClient() {
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  curl_multi_wakeup(multi_);
  worker_.join();
  for (void* easy : idleHandles_) curl_easy_cleanup(easy);
  curl_multi_cleanup(multi_);
}

void ZefaCurlHttpClient::start(ZefaHttpRequest request,
                               std::function<void(ZefaHttpResponse)> completion) {
  auto transfer = std::make_unique<Transfer>();
  transfer->request = std::move(request);
  transfer->completion = std::move(completion);
  bool wasEmpty = false;
  {
    std::lock_guard lock(mutex_);
    if (!stopping_) {
      wasEmpty = incoming_.empty();
      incoming_.push_back(std::move(transfer));
      ++pending_;
    }
  }
  if (transfer) {  // the client is going away: nothing more is started
    ZefaHttpResponse response;
    response.error = kCancelled;
    if (transfer->completion) transfer->completion(std::move(response));
    return;
  }
  if (wasEmpty) curl_multi_wakeup(multi_);
}

size_t ZefaCurlHttpClient::pendingCount() const {
  std::lock_guard lock(mutex_);
  return pending_;
}

void* ZefaCurlHttpClient::takeEasyHandle() {
  if (idleHandles_.empty()) return curl_easy_init();
  void* easy = idleHandles_.back();
  idleHandles_.pop_back();
  curl_easy_reset(easy);
  return easy;
}

void ZefaCurlHttpClient::releaseEasyHandle(void* easy) {
  if (idleHandles_.size() < kMaxIdleHandles) {
    idleHandles_.push_back(easy);
  } else {
    curl_easy_cleanup(easy);
  }
}

void ZefaCurlHttpClient::addTransfer(std::unique_ptr<Transfer> transfer) {
  CURL* easy = takeEasyHandle();
  if (easy == nullptr) {
    complete(std::move(transfer), CURLE_OUT_OF_MEMORY);
    return;
  }
  transfer->easy = easy;
  const ZefaHttpRequest& request = transfer->request;

  curl_easy_setopt(easy, CURLOPT_URL, request.url.c_str());
  curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(easy, CURLOPT_PRIVATE, transfer.get());
  curl_easy_setopt(easy, CURLOPT_ERRORBUFFER, transfer->error);
  curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, appendBody);
  curl_easy_setopt(easy, CURLOPT_WRITEDATA, &transfer->response);
  curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(easy, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 1L);
  curl_easy_setopt(easy, CURLOPT_MAXREDIRS, 10L);
  curl_easy_setopt(easy, CURLOPT_TCP_KEEPALIVE, 1L);
  if (caBundle_) curl_easy_setopt(easy, CURLOPT_CAINFO, caBundle_->c_str());

  // The idle timeout: connecting may take that long, and afterwards the transfer is dropped once
  // it has moved no byte for that long. libcurl measures the latter in whole seconds.
  double timeout = request.timeoutSeconds;
  if (!(timeout > 0) || !std::isfinite(timeout)) timeout = kDefaultTimeoutSeconds;
  timeout = std::min(timeout, 86400.0 * 365);
  curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(std::ceil(timeout * 1000)));
  curl_easy_setopt(easy, CURLOPT_LOW_SPEED_LIMIT, 1L);
  curl_easy_setopt(easy, CURLOPT_LOW_SPEED_TIME,
                   std::max(1L, static_cast<long>(std::ceil(timeout))));

  const bool hasBody = !request.body.empty();
  if (request.method == "GET" && !hasBody) {
    curl_easy_setopt(easy, CURLOPT_HTTPGET, 1L);
  } else {
    curl_easy_setopt(easy, CURLOPT_POSTFIELDS, request.body.data());
    curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE_LARGE,
                     static_cast<curl_off_t>(request.body.size()));
    if (request.method != "POST")
      curl_easy_setopt(easy, CURLOPT_CUSTOMREQUEST, request.method.c_str());
  }

  // One line per name, repeated names joined with ", ", in first-seen order.
  std::vector<std::pair<std::string, std::string>> merged;
  for (const auto& [name, value] : request.headers) {
    const auto same = std::find_if(merged.begin(), merged.end(),
                                   [&](const auto& entry) { return sameName(entry.first, name); });
    if (same == merged.end()) {
      merged.emplace_back(name, value);
    } else {
      same->second += ", " + value;
    }
  }
  bool hasContentType = false;
  for (const auto& [name, value] : merged) {
    hasContentType = hasContentType || sameName(name, "Content-Type");
    // "Name;" is libcurl's way to send a header with an empty value.
    const std::string line = value.empty() ? name + ";" : name + ": " + value;
    transfer->headers = curl_slist_append(transfer->headers, line.c_str());
  }
  // No content type of libcurl's own, and no 100-continue round trip.
  if (!hasContentType) transfer->headers = curl_slist_append(transfer->headers, "Content-Type:");
  transfer->headers = curl_slist_append(transfer->headers, "Expect:");
  curl_easy_setopt(easy, CURLOPT_HTTPHEADER, transfer->headers);

  const CURLMcode added = curl_multi_add_handle(multi_, easy);
  if (added != CURLM_OK) {
    complete(std::move(transfer), CURLE_FAILED_INIT);
    return;
  }
  active_.emplace(easy, std::move(transfer));
}

void ZefaCurlHttpClient::complete(std::unique_ptr<Transfer> transfer, int result) {
  ZefaHttpResponse response;
  const auto code = static_cast<CURLcode>(result);
  if (code == CURLE_OK) {
    long status = 0;
    curl_easy_getinfo(transfer->easy, CURLINFO_RESPONSE_CODE, &status);
    response.status = status;
    response.body = std::move(transfer->response);
  } else if (transfer->error[0] != '\0') {
    response.error = std::string(transfer->error);
  } else {
    response.error = std::string(curl_easy_strerror(code));
  }
  if (transfer->easy != nullptr) {
    releaseEasyHandle(transfer->easy);
    transfer->easy = nullptr;
  }
  auto completion = std::move(transfer->completion);
  transfer.reset();
  {
    std::lock_guard lock(mutex_);
    --pending_;
  }
  if (!completion) return;
  try {
    completion(std::move(response));
  } catch (...) {
    // A completion only hands the reply on; whatever it throws must not stop the worker.
  }
}

void ZefaCurlHttpClient::finishDone() {
  int left = 0;
  while (CURLMsg* message = curl_multi_info_read(multi_, &left)) {
    if (message->msg != CURLMSG_DONE) continue;
    CURL* easy = message->easy_handle;
    const CURLcode result = message->data.result;
    curl_multi_remove_handle(multi_, easy);
    auto found = active_.find(easy);
    if (found == active_.end()) continue;
    std::unique_ptr<Transfer> transfer = std::move(found->second);
    active_.erase(found);
    complete(std::move(transfer), result);
  }
}

void ZefaCurlHttpClient::workerLoop() {
  std::vector<std::unique_ptr<Transfer>> arrived;
  while (true) {
    bool stop = false;
    {
      std::lock_guard lock(mutex_);
      arrived.swap(incoming_);
      stop = stopping_;
    }
    if (stop) break;
    for (auto& transfer : arrived) addTransfer(std::move(transfer));
    arrived.clear();

    int running = 0;
    curl_multi_perform(multi_, &running);
    finishDone();
    curl_multi_poll(multi_, nullptr, 0, kPollMs, nullptr);
  }

  // Shutting down: everything not finished is reported as cancelled.
  for (auto& [easy, transfer] : active_) {
    curl_multi_remove_handle(multi_, easy);
    transfer->error[0] = '\0';
    std::snprintf(transfer->error, sizeof transfer->error, "%s", kCancelled);
    complete(std::move(transfer), CURLE_ABORTED_BY_CALLBACK);
  }
  active_.clear();
  for (auto& transfer : arrived) {
    std::snprintf(transfer->error, sizeof transfer->error, "%s", kCancelled);
    complete(std::move(transfer), CURLE_ABORTED_BY_CALLBACK);
  }
}
