#include "platform/linux/ZefaCurlHttpClient.h"

#include <curl/curl.h>

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "ZefaBase/ZefaFatal.h"
#include "platform/ZefaHttpRules.h"
#include "platform/ZefaPlatform.h"

namespace {

constexpr size_t kMaxIdleHandles = 256;
constexpr int kPollMs = 1000;

void initialiseCurlOnce() {
  static const bool initialised = curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK;
  if (!initialised) ZefaFatal::stop("ZefaCurlHttpClient: libcurl failed to initialise");
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
  uint64_t id = 0;
  ZefaHttpRequest request;
  std::function<void(ZefaHttpResponse)> completion;
  CURL* easy = nullptr;
  curl_slist* headers = nullptr;
  std::string response;
  size_t maxReplyBytes = 0;
  Clock::duration idleLimit{};
  Clock::time_point lastData;  // when the request started or a byte last arrived
  int redirects = 0;
  std::optional<std::string> failure;  // a failure found by the client rather than by libcurl
  char error[CURL_ERROR_SIZE] = {};

  ~Transfer() { curl_slist_free_all(headers); }

  static size_t onBody(char* data, size_t size, size_t count, void* target) {
    auto* self = static_cast<Transfer*>(target);
    const size_t n = size * count;
    self->lastData = Clock::now();
    if (n > self->maxReplyBytes - std::min(self->maxReplyBytes, self->response.size())) {
      self->failure = "the reply is larger than " + std::to_string(self->maxReplyBytes) + " bytes";
      return 0;  // libcurl stops the transfer
    }
    self->response.append(data, n);
    return n;
  }
  static size_t onHeader(char*, size_t size, size_t count, void* target) {
    static_cast<Transfer*>(target)->lastData = Clock::now();
    return size * count;
  }
};

std::shared_ptr<ZefaHttpClient> zefa::platform_defaults::makeHttpClient() {
  return std::make_shared<ZefaCurlHttpClient>();
}

ZefaCurlHttpClient::ZefaCurlHttpClient() : ZefaCurlHttpClient(Options{}) {}

ZefaCurlHttpClient::ZefaCurlHttpClient(Options options)
    : options_([&] {
        if (!options.caBundle) options.caBundle = caBundleFromEnvironment();
        return std::move(options);
      }()) {
  initialiseCurlOnce();
  multi_ = curl_multi_init();
  if (multi_ == nullptr) ZefaFatal::stop("ZefaCurlHttpClient: curl_multi_init failed");
  curl_multi_setopt(multi_, CURLMOPT_MAX_HOST_CONNECTIONS, options_.maxConnectionsPerHost);
  // libcurl's cache would otherwise hold 4 connections per added handle, and trimming it as
  // handles come and go closes connections only to open new ones; keep as many as may be open.
  curl_multi_setopt(multi_, CURLMOPT_MAXCONNECTS, options_.maxConnectionsPerHost);
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
  transfer->idleLimit = ZefaHttpRules::idleLimit(request.timeoutSeconds);
  transfer->maxReplyBytes = options_.maxReplyBytes;
  transfer->request = std::move(request);
  transfer->completion = std::move(completion);
  transfer->lastData = Clock::now();  // the idle timeout counts from here, queued or not
  bool wasEmpty = false;
  {
    std::lock_guard lock(mutex_);
    if (!stopping_) {
      transfer->id = nextId_++;
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
  return easy;
}

void ZefaCurlHttpClient::releaseEasyHandle(void* easy) {
  if (idleHandles_.size() < kMaxIdleHandles) {
    idleHandles_.push_back(easy);
  } else {
    curl_easy_cleanup(easy);
  }
}

// Sets every option of the transfer's easy handle from its request (again after a redirect).
bool ZefaCurlHttpClient::configure(Transfer& transfer) {
  CURL* easy = transfer.easy;
  const ZefaHttpRequest& request = transfer.request;
  curl_easy_reset(easy);
  curl_easy_setopt(easy, CURLOPT_URL, request.url.c_str());
  curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(easy, CURLOPT_PRIVATE, &transfer);
  curl_easy_setopt(easy, CURLOPT_ERRORBUFFER, transfer.error);
  curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &Transfer::onBody);
  curl_easy_setopt(easy, CURLOPT_WRITEDATA, &transfer);
  curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, &Transfer::onHeader);
  curl_easy_setopt(easy, CURLOPT_HEADERDATA, &transfer);
  curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(easy, CURLOPT_TCP_KEEPALIVE, 1L);
  curl_easy_setopt(easy, CURLOPT_MAXFILESIZE_LARGE,
                   static_cast<curl_off_t>(std::min<size_t>(options_.maxReplyBytes, INT64_MAX)));
  if (options_.caBundle) {  // the bundle replaces the system's store: no CA directory either
    curl_easy_setopt(easy, CURLOPT_CAINFO, options_.caBundle->c_str());
    curl_easy_setopt(easy, CURLOPT_CAPATH, nullptr);
  }

  if (request.method == "GET" && request.body.empty()) {
    curl_easy_setopt(easy, CURLOPT_HTTPGET, 1L);
  } else {
    curl_easy_setopt(easy, CURLOPT_POSTFIELDS, request.body.data());
    curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE_LARGE,
                     static_cast<curl_off_t>(request.body.size()));
    if (request.method != "POST")
      curl_easy_setopt(easy, CURLOPT_CUSTOMREQUEST, request.method.c_str());
  }

  curl_slist_free_all(transfer.headers);
  transfer.headers = nullptr;
  bool hasContentType = false;
  for (const auto& [name, value] : ZefaHttpRules::merged(request.headers)) {
    hasContentType = hasContentType || ZefaHttpRules::sameName(name, "Content-Type");
    // "Name;" is libcurl's way to send a header with an empty value.
    const std::string line = value.empty() ? name + ";" : name + ": " + value;
    transfer.headers = curl_slist_append(transfer.headers, line.c_str());
  }
  // No content type of libcurl's own, and no 100-continue round trip.
  if (!hasContentType) transfer.headers = curl_slist_append(transfer.headers, "Content-Type:");
  transfer.headers = curl_slist_append(transfer.headers, "Expect:");
  curl_easy_setopt(easy, CURLOPT_HTTPHEADER, transfer.headers);
  return curl_multi_add_handle(multi_, easy) == CURLM_OK;
}

void ZefaCurlHttpClient::addTransfer(std::unique_ptr<Transfer> transfer) {
  transfer->easy = takeEasyHandle();
  if (transfer->easy == nullptr) return complete(std::move(transfer), CURLE_OUT_OF_MEMORY);
  if (!configure(*transfer)) return complete(std::move(transfer), CURLE_FAILED_INIT);
  deadlines_.add(transfer->lastData + transfer->idleLimit, transfer->id);
  const uint64_t id = transfer->id;
  active_.emplace(id, std::move(transfer));
}

// When the finished transfer was answered with a redirect, restarts it at the new address and
// returns true. Sets `failure` when the redirect may not be followed.
bool ZefaCurlHttpClient::followRedirect(Transfer& transfer) {
  long status = 0;
  char* location = nullptr;
  curl_easy_getinfo(transfer.easy, CURLINFO_RESPONSE_CODE, &status);
  curl_easy_getinfo(transfer.easy, CURLINFO_REDIRECT_URL, &location);
  if (!ZefaHttpRules::isRedirect(status) || location == nullptr) return false;
  transfer.failure = ZefaHttpRules::follow(transfer.request, status, location, transfer.redirects,
                                           options_.maxRedirects);
  if (transfer.failure) return false;
  const ZefaHttpRequest& request = transfer.request;
  transfer.response.clear();
  if (configure(transfer)) return true;
  transfer.failure = "the redirect to " + request.url + " could not be started";
  return false;
}

void ZefaCurlHttpClient::complete(std::unique_ptr<Transfer> transfer, int result) {
  ZefaHttpResponse response;
  const auto code = static_cast<CURLcode>(result);
  if (transfer->failure) {
    response.error = std::move(transfer->failure);
  } else if (code == CURLE_OK) {
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
    Transfer* done = nullptr;
    curl_easy_getinfo(easy, CURLINFO_PRIVATE, &done);
    auto found = active_.find(done->id);
    if (found == active_.end()) continue;
    if (result == CURLE_OK && followRedirect(*done)) continue;
    std::unique_ptr<Transfer> transfer = std::move(found->second);
    active_.erase(found);
    complete(std::move(transfer), result);
  }
}

// Fails every transfer that has waited its idle timeout without receiving data.
void ZefaCurlHttpClient::expireIdle() {
  const auto dueOf = [this](uint64_t id) -> std::optional<Clock::time_point> {
    const auto found = active_.find(id);
    if (found == active_.end()) return std::nullopt;
    return found->second->lastData + found->second->idleLimit;
  };
  for (const uint64_t id : deadlines_.expired(Clock::now(), dueOf)) {
    const auto found = active_.find(id);
    Transfer& transfer = *found->second;
    curl_multi_remove_handle(multi_, transfer.easy);
    transfer.failure = ZefaHttpRules::timeoutError(transfer.idleLimit);
    std::unique_ptr<Transfer> expired = std::move(found->second);
    active_.erase(found);
    complete(std::move(expired), CURLE_OPERATION_TIMEDOUT);
  }
}

// How long the worker may wait for sockets before the next idle deadline must be checked.
int ZefaCurlHttpClient::pollMilliseconds() const {
  const auto next = deadlines_.next();
  if (!next) return kPollMs;
  const auto wait = *next - Clock::now();
  const auto ms = std::chrono::ceil<std::chrono::milliseconds>(wait).count();
  return static_cast<int>(std::clamp<int64_t>(ms, 0, kPollMs));
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
    expireIdle();
    curl_multi_poll(multi_, nullptr, 0, pollMilliseconds(), nullptr);
  }

  // Shutting down: everything not finished is reported as cancelled.
  for (auto& entry : active_) {
    curl_multi_remove_handle(multi_, entry.second->easy);
    entry.second->failure = kCancelled;
    complete(std::move(entry.second), CURLE_ABORTED_BY_CALLBACK);
  }
  active_.clear();
  for (auto& transfer : arrived) {
    transfer->failure = kCancelled;
    complete(std::move(transfer), CURLE_ABORTED_BY_CALLBACK);
  }
}
