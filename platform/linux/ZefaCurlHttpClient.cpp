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
constexpr size_t kMaxSpareTransfers = 256;
constexpr size_t kLargestKeptBody = 4096;  // larger bodies are not kept, nor their room made early
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

// The length of the scheme and authority that start an absolute address: the part that names
// the requests sharing its connections.
size_t originLength(const std::string& url) {
  const size_t scheme = url.find("://");
  const size_t from = scheme == std::string::npos ? 0 : scheme + 3;
  return std::min(url.size(), url.find_first_of("/?#", from));
}

}  // namespace

// An easy handle with the options every request shares, kept between requests. It also keeps
// the header lines it last sent with the headers they were made from: requests of one kind (a
// game's server calls) send the same headers, and their lines are then not made again.
struct ZefaCurlHttpClient::Easy {
  CURL* curl = nullptr;
  curl_slist* lines = nullptr;
  ZefaHttpRules::Headers linesOf;

  Easy(const Easy&) = delete;
  Easy& operator=(const Easy&) = delete;
  explicit Easy(CURL* handle) : curl(handle) {}
  ~Easy() {
    curl_slist_free_all(lines);
    curl_easy_cleanup(curl);
  }
};

struct ZefaCurlHttpClient::Transfer {
  uint64_t id = 0;
  ZefaHttpRequest request;
  std::function<void(ZefaHttpResponse)> completion;
  std::string origin;          // the connection slots it counts against
  std::unique_ptr<Easy> easy;  // while it holds a slot
  std::string response;
  size_t maxReplyBytes = 0;
  Clock::duration idleLimit{};
  Clock::time_point lastData;  // when the request started or a byte last arrived
  int redirects = 0;
  std::optional<std::string> failure;  // a failure found by the client rather than by libcurl
  char error[CURL_ERROR_SIZE] = {};

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
  idleHandles_.clear();
  curl_multi_cleanup(multi_);
}

void ZefaCurlHttpClient::start(ZefaHttpRequest request,
                               std::function<void(ZefaHttpResponse)> completion) {
  std::unique_ptr<Transfer> transfer;
  {
    std::lock_guard lock(mutex_);
    if (!spare_.empty()) {
      transfer = std::move(spare_.back());
      spare_.pop_back();
    }
  }
  if (!transfer) transfer = std::make_unique<Transfer>();
  transfer->idleLimit = ZefaHttpRules::idleLimit(request.timeoutSeconds);
  transfer->maxReplyBytes = options_.maxReplyBytes;
  // The reply is moved to the caller's thread and freed there: its room is the one the caller
  // gives, or is made here, so that it comes from, and returns to, that thread's allocator
  // caches (a quarter more than the last reply, as replies of one kind differ a little in
  // size). Room is made only while a request is likely to start at once: one that waits for a
  // connection would hold it for nothing. Room given is kept either way, as freeing it here
  // would only move the cost of its free from the caller's next drain to this call.
  if (request.replyRoom.capacity() > transfer->response.capacity()) {
    transfer->response.swap(request.replyRoom);
    transfer->response.clear();  // the room, not what it held
  }
  if (pending_.load(std::memory_order_relaxed) <
      static_cast<size_t>(std::max(options_.maxConnectionsPerHost, 1L))) {
    const size_t room = replyRoom_.load(std::memory_order_relaxed);
    transfer->response.reserve(room + room / 4);
  }
  request.replyRoom = std::string();  // not kept while the request runs
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

size_t ZefaCurlHttpClient::pendingCount() const { return pending_.load(std::memory_order_relaxed); }

// A handle from the pool, or a new one with the options that never change.
std::unique_ptr<ZefaCurlHttpClient::Easy> ZefaCurlHttpClient::takeEasyHandle() {
  if (!idleHandles_.empty()) {
    std::unique_ptr<Easy> easy = std::move(idleHandles_.back());
    idleHandles_.pop_back();
    return easy;
  }
  CURL* curl = curl_easy_init();
  if (curl == nullptr) return nullptr;
  curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, &Transfer::onBody);
  curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, &Transfer::onHeader);
  curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(curl, CURLOPT_TCP_KEEPALIVE, 1L);
  curl_easy_setopt(curl, CURLOPT_MAXFILESIZE_LARGE,
                   static_cast<curl_off_t>(std::min<size_t>(options_.maxReplyBytes, INT64_MAX)));
  if (options_.caBundle) {  // the bundle replaces the system's store: no CA directory either
    curl_easy_setopt(curl, CURLOPT_CAINFO, options_.caBundle->c_str());
    curl_easy_setopt(curl, CURLOPT_CAPATH, nullptr);
  }
  return std::make_unique<Easy>(curl);
}

void ZefaCurlHttpClient::releaseEasyHandle(std::unique_ptr<Easy> easy) {
  if (idleHandles_.size() < kMaxIdleHandles) idleHandles_.push_back(std::move(easy));
}

// Sets the options that belong to the transfer's request on its easy handle (again after a
// redirect). Every option a request may set is set each time, so nothing of the handle's
// previous request is left.
bool ZefaCurlHttpClient::configure(Transfer& transfer) {
  Easy& easy = *transfer.easy;
  CURL* curl = easy.curl;
  const ZefaHttpRequest& request = transfer.request;
  transfer.error[0] = '\0';
  curl_easy_setopt(curl, CURLOPT_URL, request.url.c_str());
  curl_easy_setopt(curl, CURLOPT_PRIVATE, &transfer);
  curl_easy_setopt(curl, CURLOPT_ERRORBUFFER, transfer.error);
  curl_easy_setopt(curl, CURLOPT_WRITEDATA, &transfer);
  curl_easy_setopt(curl, CURLOPT_HEADERDATA, &transfer);
  curl_easy_setopt(curl, CURLOPT_CUSTOMREQUEST, nullptr);
  if (request.method == "GET" && request.body.empty()) {
    curl_easy_setopt(curl, CURLOPT_HTTPGET, 1L);
  } else {
    curl_easy_setopt(curl, CURLOPT_POSTFIELDS, request.body.data());
    curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE_LARGE,
                     static_cast<curl_off_t>(request.body.size()));
    if (request.method != "POST")
      curl_easy_setopt(curl, CURLOPT_CUSTOMREQUEST, request.method.c_str());
  }

  if (easy.lines == nullptr || easy.linesOf != request.headers) {
    curl_slist_free_all(easy.lines);
    easy.lines = nullptr;
    bool hasContentType = false;
    for (const auto& [name, value] : ZefaHttpRules::merged(request.headers)) {
      hasContentType = hasContentType || ZefaHttpRules::sameName(name, "Content-Type");
      // "Name;" is libcurl's way to send a header with an empty value.
      const std::string line = value.empty() ? name + ";" : name + ": " + value;
      easy.lines = curl_slist_append(easy.lines, line.c_str());
    }
    // No content type of libcurl's own, and no 100-continue round trip.
    if (!hasContentType) easy.lines = curl_slist_append(easy.lines, "Content-Type:");
    easy.lines = curl_slist_append(easy.lines, "Expect:");
    easy.linesOf = request.headers;
  }
  curl_easy_setopt(curl, CURLOPT_HTTPHEADER, easy.lines);
  return curl_multi_add_handle(multi_, curl) == CURLM_OK;
}

// Takes a transfer from the queue: it runs at once when its origin has a free connection slot,
// else it waits for one in the client's own queue (where, unlike in libcurl's, it costs nothing
// while sockets are served). Its idle timeout runs either way.
void ZefaCurlHttpClient::addTransfer(std::unique_ptr<Transfer> transfer) {
  transfer->origin.assign(transfer->request.url, 0, originLength(transfer->request.url));
  deadlines_.add(transfer->lastData + transfer->idleLimit, transfer->id,
                 [this](uint64_t id) { return dueOf(id); });
  const auto origin = origins_.try_emplace(transfer->origin).first;
  origin->second.waiting.push_back(transfer->id);
  const uint64_t id = transfer->id;
  active_.emplace(id, std::move(transfer));
  runWaiting(origin);
}

// Starts the transfers waiting at `origin` while it has free slots. A transfer that cannot be
// started fails at once and gives its slot to the next.
void ZefaCurlHttpClient::runWaiting(Origins::iterator origin) {
  Origin& slots = origin->second;
  while (slots.running < static_cast<size_t>(options_.maxConnectionsPerHost) &&
         !slots.waiting.empty()) {
    const auto next = active_.find(slots.waiting.front());
    slots.waiting.pop_front();
    if (next == active_.end()) continue;  // it timed out while waiting
    Transfer& transfer = *next->second;
    if (transfer.lastData + transfer.idleLimit <= Clock::now()) continue;  // it is failed next
    transfer.easy = takeEasyHandle();
    int failed = CURLE_OK;
    if (!transfer.easy) {
      failed = CURLE_OUT_OF_MEMORY;
    } else if (!configure(transfer)) {
      failed = CURLE_FAILED_INIT;
    }
    if (failed == CURLE_OK) {
      ++slots.running;
      continue;
    }
    std::unique_ptr<Transfer> done = std::move(next->second);
    active_.erase(next);
    complete(std::move(done), failed);
  }
  if (slots.running == 0 && slots.waiting.empty()) origins_.erase(origin);
}

// Removes a finished transfer from libcurl and its origin, and hands its reply on. The slot it
// held goes to the next transfer waiting there.
void ZefaCurlHttpClient::finish(std::unique_ptr<Transfer> transfer, int result) {
  const auto origin = transfer->easy ? origins_.find(transfer->origin) : origins_.end();
  if (transfer->easy) curl_multi_remove_handle(multi_, transfer->easy->curl);
  complete(std::move(transfer), result);
  if (origin == origins_.end()) return;
  --origin->second.running;
  runWaiting(origin);
}

// When the finished transfer was answered with a redirect, restarts it at the new address and
// returns true. Sets `failure` when the redirect may not be followed.
bool ZefaCurlHttpClient::followRedirect(Transfer& transfer) {
  long status = 0;
  char* location = nullptr;
  curl_easy_getinfo(transfer.easy->curl, CURLINFO_RESPONSE_CODE, &status);
  curl_easy_getinfo(transfer.easy->curl, CURLINFO_REDIRECT_URL, &location);
  if (!ZefaHttpRules::isRedirect(status) || location == nullptr) return false;
  transfer.failure = ZefaHttpRules::follow(transfer.request, status, location, transfer.redirects,
                                           options_.maxRedirects);
  if (transfer.failure) return false;
  const ZefaHttpRequest& request = transfer.request;
  transfer.response.clear();
  curl_multi_remove_handle(multi_, transfer.easy->curl);
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
    curl_easy_getinfo(transfer->easy->curl, CURLINFO_RESPONSE_CODE, &status);
    response.status = status;
    replyRoom_.store(std::min(transfer->response.size(), kLargestKeptBody),
                     std::memory_order_relaxed);
    response.body = std::move(transfer->response);
  } else if (transfer->error[0] != '\0') {
    response.error = std::string(transfer->error);
  } else {
    response.error = std::string(curl_easy_strerror(code));
  }
  if (transfer->easy) releaseEasyHandle(std::move(transfer->easy));
  auto completion = std::move(transfer->completion);
  recycle(std::move(transfer));
  pending_.fetch_sub(1, std::memory_order_relaxed);
  if (!completion) return;
  try {
    completion(std::move(response));
  } catch (...) {
    // A completion only hands the reply on; whatever it throws must not stop the worker.
  }
}

// Keeps a finished transfer for a later start(). Its request is then replaced on the thread
// that made it, which frees the old request's memory there too: the allocator's per-thread
// caches then serve the next request, where frees on this thread would leave them empty.
// A large body is freed at once rather than kept.
void ZefaCurlHttpClient::recycle(std::unique_ptr<Transfer> transfer) {
  if (transfer->request.body.capacity() > kLargestKeptBody) transfer->request.body = {};
  if (transfer->response.capacity() > kLargestKeptBody) transfer->response = {};
  transfer->response.clear();
  transfer->failure.reset();
  transfer->redirects = 0;
  transfer->error[0] = '\0';
  finished_.push_back(std::move(transfer));
}

// Hands the transfers finished in this turn to start(), keeping at most kMaxSpareTransfers.
void ZefaCurlHttpClient::keepFinished() {
  if (finished_.empty()) return;
  {
    std::lock_guard lock(mutex_);
    while (!finished_.empty() && spare_.size() < kMaxSpareTransfers) {
      spare_.push_back(std::move(finished_.back()));
      finished_.pop_back();
    }
  }
  finished_.clear();
}

void ZefaCurlHttpClient::finishDone() {
  int left = 0;
  while (CURLMsg* message = curl_multi_info_read(multi_, &left)) {
    if (message->msg != CURLMSG_DONE) continue;
    const CURLcode result = message->data.result;
    Transfer* done = nullptr;
    curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &done);
    auto found = active_.find(done->id);
    if (found == active_.end()) continue;
    if (result == CURLE_OK && followRedirect(*done)) continue;
    std::unique_ptr<Transfer> transfer = std::move(found->second);
    active_.erase(found);
    finish(std::move(transfer), result);
  }
}

// When the transfer `id` fails unless data arrives first; none when it is gone.
std::optional<ZefaCurlHttpClient::Clock::time_point> ZefaCurlHttpClient::dueOf(uint64_t id) const {
  const auto found = active_.find(id);
  if (found == active_.end()) return std::nullopt;
  return found->second->lastData + found->second->idleLimit;
}

// Fails every transfer that has waited its idle timeout without receiving data.
void ZefaCurlHttpClient::expireIdle() {
  for (const uint64_t id :
       deadlines_.expired(Clock::now(), [this](uint64_t id) { return dueOf(id); })) {
    const auto found = active_.find(id);
    std::unique_ptr<Transfer> expired = std::move(found->second);
    active_.erase(found);
    expired->failure = ZefaHttpRules::timeoutError(expired->idleLimit);
    finish(std::move(expired), CURLE_OPERATION_TIMEDOUT);
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
    keepFinished();
    curl_multi_poll(multi_, nullptr, 0, pollMilliseconds(), nullptr);
  }

  // Shutting down: everything not finished is reported as cancelled, and nothing waiting starts.
  origins_.clear();
  for (auto& entry : active_) {
    entry.second->failure = kCancelled;
    finish(std::move(entry.second), CURLE_ABORTED_BY_CALLBACK);
  }
  active_.clear();
  for (auto& transfer : arrived) {
    transfer->failure = kCancelled;
    complete(std::move(transfer), CURLE_ABORTED_BY_CALLBACK);
  }
}
