#include "platform/windows/ZefaWinHttpClient.h"

#include <windows.h>
#include <winhttp.h>

#include <algorithm>
#include <climits>
#include <condition_variable>
#include <mutex>
#include <string_view>

#include "platform/ZefaHttpRules.h"
#include "platform/ZefaPlatform.h"
#include "platform/windows/ZefaWideText.h"

namespace {

constexpr size_t kReadChunk = 64 * 1024;
constexpr auto kLongestWait = std::chrono::seconds(1);
constexpr auto kClosingGrace = std::chrono::seconds(2);  // for WinHTTP to release closed handles
constexpr int64_t kSystemTimeoutMarginMs = 1000;
constexpr DWORD kNotifications =
    WINHTTP_CALLBACK_FLAG_ALL_COMPLETIONS | WINHTTP_CALLBACK_FLAG_HANDLES |
    WINHTTP_CALLBACK_FLAG_RECEIVE_RESPONSE | WINHTTP_CALLBACK_FLAG_SECURE_FAILURE;

// The absolute address a Location header names, read against the address that answered.
std::string resolveLocation(const std::string& base, const std::string& location) {
  const size_t colon = location.find(':');
  const size_t slash = location.find('/');
  if (colon != std::string::npos && (slash == std::string::npos || colon < slash)) return location;
  const size_t schemeEnd = base.find("://");
  if (schemeEnd == std::string::npos) return location;
  if (location.starts_with("//")) return base.substr(0, schemeEnd + 1) + location;
  const size_t pathStart = std::min(base.find_first_of("/?#", schemeEnd + 3), base.size());
  if (location.starts_with("/")) return base.substr(0, pathStart) + location;
  const std::string path =
      base.substr(0, std::min(base.find_first_of("?#", pathStart), base.size()));
  if (location.starts_with("?")) return path + location;
  const size_t lastSlash = path.rfind('/');
  if (lastSlash == std::string::npos || lastSlash < pathStart) return path + "/" + location;
  return path.substr(0, lastSlash + 1) + location;
}

// A readable description of a WinHTTP or system error code.
std::string errorText(DWORD code, DWORD secureFailure) {
  static constexpr std::pair<DWORD, const char*> kTexts[] = {
      {ERROR_WINHTTP_TIMEOUT, "the operation timed out"},
      {ERROR_WINHTTP_INVALID_URL, "the address is not a valid URL"},
      {ERROR_WINHTTP_UNRECOGNIZED_SCHEME, "only http and https addresses are supported"},
      {ERROR_WINHTTP_NAME_NOT_RESOLVED, "could not resolve the server's name"},
      {ERROR_WINHTTP_CANNOT_CONNECT, "could not connect to the server"},
      {ERROR_WINHTTP_CONNECTION_ERROR, "the connection to the server was lost"},
      {ERROR_WINHTTP_INVALID_SERVER_RESPONSE, "the server's reply is not valid HTTP"},
      {ERROR_WINHTTP_OPERATION_CANCELLED, "the operation was cancelled"},
      {ERROR_WINHTTP_CLIENT_AUTH_CERT_NEEDED, "the server asks for a client certificate"},
      {ERROR_WINHTTP_SECURE_FAILURE, "the server's TLS certificate was not accepted"},
      {ERROR_WINHTTP_SECURE_CERT_DATE_INVALID, "the server's TLS certificate has expired"},
      {ERROR_WINHTTP_SECURE_CERT_CN_INVALID, "the server's TLS certificate names another host"},
      {ERROR_WINHTTP_SECURE_INVALID_CA, "the server's TLS certificate has an unknown issuer"},
      {ERROR_WINHTTP_SECURE_CERT_REVOKED, "the server's TLS certificate was revoked"},
  };
  std::string text;
  const auto known = std::ranges::find(kTexts, code, &std::pair<DWORD, const char*>::first);
  if (known != std::end(kTexts)) {
    text = known->second;
  } else {
    wchar_t* message = nullptr;
    const DWORD length =
        FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM |
                           FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_IGNORE_INSERTS,
                       GetModuleHandleW(L"winhttp.dll"), code, 0,
                       reinterpret_cast<wchar_t*>(&message), 0, nullptr);
    if (length > 0) text = ZefaWideText::toUtf8(std::wstring_view(message, length));
    LocalFree(message);
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r' || text.back() == '.')) {
      text.pop_back();
    }
    if (text.empty()) text = "the request failed";
  }
  if (secureFailure & WINHTTP_CALLBACK_STATUS_FLAG_INVALID_CA) text += ": unknown issuer";
  if (secureFailure & WINHTTP_CALLBACK_STATUS_FLAG_CERT_CN_INVALID) text += ": wrong host name";
  if (secureFailure & WINHTTP_CALLBACK_STATUS_FLAG_CERT_DATE_INVALID) text += ": expired";
  return text + " (WinHTTP error " + std::to_string(code) + ")";
}

// The user's proxy settings: WinHTTP's automatic proxy where the system offers it, else the
// configuration of the user's Internet settings.
HINTERNET openSession() {
  const wchar_t* agent = L"ZefaBase";
  HINTERNET session = WinHttpOpen(agent, WINHTTP_ACCESS_TYPE_AUTOMATIC_PROXY, WINHTTP_NO_PROXY_NAME,
                                  WINHTTP_NO_PROXY_BYPASS, WINHTTP_FLAG_ASYNC);
  if (session != nullptr) return session;
  WINHTTP_CURRENT_USER_IE_PROXY_CONFIG user{};
  if (WinHttpGetIEProxyConfigForCurrentUser(&user) && user.lpszProxy != nullptr) {
    session = WinHttpOpen(agent, WINHTTP_ACCESS_TYPE_NAMED_PROXY, user.lpszProxy,
                          user.lpszProxyBypass ? user.lpszProxyBypass : WINHTTP_NO_PROXY_BYPASS,
                          WINHTTP_FLAG_ASYNC);
  }
  for (wchar_t* text : {user.lpszAutoConfigUrl, user.lpszProxy, user.lpszProxyBypass}) {
    if (text != nullptr) GlobalFree(text);
  }
  if (session != nullptr) return session;
  return WinHttpOpen(agent, WINHTTP_ACCESS_TYPE_DEFAULT_PROXY, WINHTTP_NO_PROXY_NAME,
                     WINHTTP_NO_PROXY_BYPASS, WINHTTP_FLAG_ASYNC);
}

}  // namespace

struct ZefaWinHttpClient::Event {
  Exchange* exchange;
  DWORD status;
  DWORD length;  // bytes read, for a read completion
  DWORD detail;  // the error of a failure, the flags of a TLS failure, the bytes received
};

struct ZefaWinHttpClient::Inbox {
  std::mutex mutex;
  std::condition_variable wakeup;
  std::vector<Event> events;                        // guarded by mutex
  std::vector<std::unique_ptr<Transfer>> incoming;  // mutex
  bool stopping = false;                            // mutex
  size_t pending = 0;                               // mutex
  uint64_t nextId = 1;                              // mutex

  void post(const Event& event) {
    {
      std::lock_guard lock(mutex);
      events.push_back(event);
    }
    wakeup.notify_one();
  }
};

// Owned by the worker from its creation until WinHTTP's closing notification for its request
// handle, the last one that names it; the buffers WinHTTP reads and writes live here.
struct ZefaWinHttpClient::Exchange {
  std::shared_ptr<Inbox> inbox;  // kept by the exchange: a notification may outlive the client
  uint64_t transferId = 0;
  HINTERNET connect = nullptr;
  HINTERNET request = nullptr;
  std::string body;
  std::vector<char> buffer;
  DWORD secureFailure = 0;

  ~Exchange() {
    if (connect != nullptr) WinHttpCloseHandle(connect);
  }

  static void CALLBACK notify(HINTERNET, DWORD_PTR context, DWORD status, void* info,
                              DWORD length) {
    if (context == 0) return;  // the session or a connection: nothing waits on those
    auto* self = reinterpret_cast<Exchange*>(context);
    DWORD detail = 0;
    if (status == WINHTTP_CALLBACK_STATUS_REQUEST_ERROR && info != nullptr) {
      detail = static_cast<const WINHTTP_ASYNC_RESULT*>(info)->dwError;
    } else if ((status == WINHTTP_CALLBACK_STATUS_SECURE_FAILURE ||
                status == WINHTTP_CALLBACK_STATUS_RESPONSE_RECEIVED) &&
               info != nullptr) {
      detail = *static_cast<const DWORD*>(info);
    }
    self->inbox->post(Event{self, status, length, detail});
  }
};

struct ZefaWinHttpClient::Transfer {
  uint64_t id = 0;
  ZefaHttpRequest request;
  std::function<void(ZefaHttpResponse)> completion;
  Clock::duration idleLimit{};
  Clock::time_point lastData;  // when the request started or a byte last arrived
  int redirects = 0;
  int64_t status = 0;
  std::string reply;
  Exchange* exchange = nullptr;  // the request handle now carrying it
};

std::shared_ptr<ZefaHttpClient> zefa::platform_defaults::makeHttpClient() {
  return std::make_shared<ZefaWinHttpClient>();
}

ZefaWinHttpClient::ZefaWinHttpClient() : ZefaWinHttpClient(Options{}) {}

ZefaWinHttpClient::ZefaWinHttpClient(Options options)
    : options_(options), inbox_(std::make_shared<Inbox>()) {
  HINTERNET session = openSession();
  if (session == nullptr) openError_ = GetLastError();
  if (session != nullptr) {
    DWORD connections = static_cast<DWORD>(std::max(1L, options_.maxConnectionsPerHost));
    WinHttpSetOption(session, WINHTTP_OPTION_MAX_CONNS_PER_SERVER, &connections,
                     sizeof connections);
    WinHttpSetOption(session, WINHTTP_OPTION_MAX_CONNS_PER_1_0_SERVER, &connections,
                     sizeof connections);
    DWORD http2 = WINHTTP_PROTOCOL_FLAG_HTTP2;  // where the system has it
    WinHttpSetOption(session, WINHTTP_OPTION_ENABLE_HTTP_PROTOCOL, &http2, sizeof http2);
    if (WinHttpSetStatusCallback(session, &Exchange::notify, kNotifications, 0) ==
        WINHTTP_INVALID_STATUS_CALLBACK) {
      openError_ = GetLastError();
      WinHttpCloseHandle(session);
      session = nullptr;
    }
  }
  session_ = session;
  worker_ = std::thread([this] { workerLoop(); });
}

ZefaWinHttpClient::~ZefaWinHttpClient() {
  {
    std::lock_guard lock(inbox_->mutex);
    inbox_->stopping = true;
  }
  inbox_->wakeup.notify_one();
  worker_.join();
  if (session_ != nullptr) WinHttpCloseHandle(session_);
}

void ZefaWinHttpClient::start(ZefaHttpRequest request,
                              std::function<void(ZefaHttpResponse)> completion) {
  auto transfer = std::make_unique<Transfer>();
  transfer->idleLimit = ZefaHttpRules::idleLimit(request.timeoutSeconds);
  // The reply is written into the room the caller gives, if any (not into what it held).
  transfer->reply.swap(request.replyRoom);
  transfer->reply.clear();
  transfer->request = std::move(request);
  transfer->completion = std::move(completion);
  transfer->lastData = Clock::now();  // the idle timeout counts from here, queued or not
  {
    std::lock_guard lock(inbox_->mutex);
    if (!inbox_->stopping) {
      transfer->id = inbox_->nextId++;
      inbox_->incoming.push_back(std::move(transfer));
      ++inbox_->pending;
    }
  }
  if (transfer) {  // the client is going away: nothing more is started
    ZefaHttpResponse response;
    response.error = kCancelled;
    if (transfer->completion) transfer->completion(std::move(response));
    return;
  }
  inbox_->wakeup.notify_one();
}

size_t ZefaWinHttpClient::pendingCount() const {
  std::lock_guard lock(inbox_->mutex);
  return inbox_->pending;
}

void ZefaWinHttpClient::begin(std::unique_ptr<Transfer> transfer) {
  Transfer& started = *transfer;
  deadlines_.add(started.lastData + started.idleLimit, started.id,
                 [this](uint64_t id) { return dueOf(id); });
  active_.emplace(started.id, std::move(transfer));
  open(started);
}

// Opens a request handle for the transfer's current request and sends it; the transfer fails when
// it cannot be sent.
void ZefaWinHttpClient::open(Transfer& transfer) {
  const ZefaHttpRequest& request = transfer.request;
  if (session_ == nullptr) {
    fail(transfer, "WinHTTP is not available: " + errorText(openError_, 0));
    return;
  }
  std::wstring url = ZefaWideText::fromUtf8(request.url);
  URL_COMPONENTS parts{};
  parts.dwStructSize = sizeof parts;
  parts.dwHostNameLength = parts.dwUrlPathLength = parts.dwExtraInfoLength = DWORD(-1);
  if (url.empty() || !WinHttpCrackUrl(url.c_str(), static_cast<DWORD>(url.size()), 0, &parts) ||
      (parts.nScheme != INTERNET_SCHEME_HTTP && parts.nScheme != INTERNET_SCHEME_HTTPS)) {
    fail(transfer, "the address \"" + request.url + "\" is not a valid http or https URL");
    return;
  }
  const std::wstring host(parts.lpszHostName, parts.dwHostNameLength);
  std::wstring target(parts.lpszUrlPath, parts.dwUrlPathLength);
  target.append(parts.lpszExtraInfo, parts.dwExtraInfoLength);
  if (const size_t fragment = target.find(L'#'); fragment != std::wstring::npos) {
    target.resize(fragment);
  }
  if (target.empty()) target = L"/";

  auto owned = std::make_unique<Exchange>();
  Exchange& exchange = *owned;
  exchange.inbox = inbox_;
  exchange.transferId = transfer.id;
  exchange.body = request.body;
  exchange.connect = WinHttpConnect(session_, host.c_str(), parts.nPort, 0);
  if (exchange.connect != nullptr) {
    const DWORD secure = parts.nScheme == INTERNET_SCHEME_HTTPS ? WINHTTP_FLAG_SECURE : 0;
    exchange.request = WinHttpOpenRequest(
        exchange.connect, ZefaWideText::fromUtf8(request.method).c_str(), target.c_str(), nullptr,
        WINHTTP_NO_REFERER, WINHTTP_DEFAULT_ACCEPT_TYPES, secure);
  }
  DWORD_PTR context = reinterpret_cast<DWORD_PTR>(&exchange);
  if (exchange.request == nullptr ||
      !WinHttpSetOption(exchange.request, WINHTTP_OPTION_CONTEXT_VALUE, &context, sizeof context)) {
    const DWORD error = GetLastError();
    if (exchange.request != nullptr) WinHttpCloseHandle(exchange.request);
    fail(transfer, errorText(error, 0));
    return;
  }
  // From here the exchange lives until WinHTTP's closing notification for its request handle.
  exchanges_.emplace(&exchange, std::move(owned));
  transfer.exchange = &exchange;
  // WinHTTP's own timeouts come a little after the client's idle timeout: the client reports the
  // timeout, and WinHTTP lets go of a connection that never answers (a closed handle whose
  // operation still waits on the network is released only then on some systems).
  const auto limitMs = std::chrono::ceil<std::chrono::milliseconds>(transfer.idleLimit).count();
  const int systemMs =
      static_cast<int>(std::min<int64_t>(limitMs + kSystemTimeoutMarginMs, INT_MAX));
  WinHttpSetTimeouts(exchange.request, systemMs, systemMs, systemMs, systemMs);
  // Redirects are the client's own (its policy is not WinHTTP's); no cookie store.
  DWORD features = WINHTTP_DISABLE_REDIRECTS | WINHTTP_DISABLE_COOKIES;
  WinHttpSetOption(exchange.request, WINHTTP_OPTION_DISABLE_FEATURE, &features, sizeof features);

  std::string lines;
  for (const auto& [name, value] : ZefaHttpRules::merged(request.headers))
    lines += name + ": " + value + "\r\n";
  const std::wstring wideLines = ZefaWideText::fromUtf8(lines);
  if (!wideLines.empty() &&
      !WinHttpAddRequestHeaders(exchange.request, wideLines.c_str(),
                                static_cast<DWORD>(wideLines.size()), WINHTTP_ADDREQ_FLAG_ADD)) {
    fail(transfer, "the request headers were refused: " + errorText(GetLastError(), 0));
    return;
  }
  const auto size = static_cast<DWORD>(exchange.body.size());
  void* data = exchange.body.empty() ? WINHTTP_NO_REQUEST_DATA : exchange.body.data();
  if (!WinHttpSendRequest(exchange.request, WINHTTP_NO_ADDITIONAL_HEADERS, 0, data, size, size,
                          context)) {
    fail(transfer, errorText(GetLastError(), 0));
    return;
  }
}

// The reply's status line and headers have arrived: a redirect starts the request anew, any
// other reply is read.
void ZefaWinHttpClient::onHeaders(Transfer& transfer) {
  HINTERNET request = transfer.exchange->request;
  DWORD status = 0;
  DWORD size = sizeof status;
  WinHttpQueryHeaders(request, WINHTTP_QUERY_STATUS_CODE | WINHTTP_QUERY_FLAG_NUMBER,
                      WINHTTP_HEADER_NAME_BY_INDEX, &status, &size, WINHTTP_NO_HEADER_INDEX);
  transfer.status = status;
  std::wstring location;
  if (ZefaHttpRules::isRedirect(status)) {
    DWORD bytes = 0;
    WinHttpQueryHeaders(request, WINHTTP_QUERY_LOCATION, WINHTTP_HEADER_NAME_BY_INDEX, nullptr,
                        &bytes, WINHTTP_NO_HEADER_INDEX);
    location.resize(bytes / sizeof(wchar_t) + 1);
    if (bytes == 0 ||
        !WinHttpQueryHeaders(request, WINHTTP_QUERY_LOCATION, WINHTTP_HEADER_NAME_BY_INDEX,
                             location.data(), &bytes, WINHTTP_NO_HEADER_INDEX)) {
      location.clear();  // no Location: the redirect's own body is the reply
    }
    location.resize(bytes / sizeof(wchar_t));
  }
  if (location.empty()) return readMore(transfer);

  const std::string target = resolveLocation(transfer.request.url, ZefaWideText::toUtf8(location));
  if (auto refused = ZefaHttpRules::follow(transfer.request, status, target, transfer.redirects,
                                           options_.maxRedirects)) {
    return fail(transfer, std::move(*refused));
  }
  closeExchange(transfer);
  open(transfer);
}

void ZefaWinHttpClient::readMore(Transfer& transfer) {
  Exchange& exchange = *transfer.exchange;
  exchange.buffer.resize(kReadChunk);
  if (!WinHttpReadData(exchange.request, exchange.buffer.data(),
                       static_cast<DWORD>(exchange.buffer.size()), nullptr)) {
    fail(transfer, errorText(GetLastError(), exchange.secureFailure));
  }
}

void ZefaWinHttpClient::handle(const Event& event) {
  if (event.status == WINHTTP_CALLBACK_STATUS_HANDLE_CLOSING) {
    exchanges_.erase(event.exchange);  // WinHTTP names it no more
    return;
  }
  const auto found = active_.find(event.exchange->transferId);
  if (found == active_.end() || found->second->exchange != event.exchange) return;  // stale
  Transfer& transfer = *found->second;
  switch (event.status) {
    case WINHTTP_CALLBACK_STATUS_SECURE_FAILURE:
      event.exchange->secureFailure = event.detail;
      break;
    case WINHTTP_CALLBACK_STATUS_RESPONSE_RECEIVED:
      if (event.detail > 0) transfer.lastData = Clock::now();
      break;
    case WINHTTP_CALLBACK_STATUS_SENDREQUEST_COMPLETE:
      if (!WinHttpReceiveResponse(event.exchange->request, nullptr)) {
        fail(transfer, errorText(GetLastError(), event.exchange->secureFailure));
      }
      break;
    case WINHTTP_CALLBACK_STATUS_HEADERS_AVAILABLE:
      transfer.lastData = Clock::now();
      onHeaders(transfer);
      break;
    case WINHTTP_CALLBACK_STATUS_READ_COMPLETE:
      if (event.length == 0) return succeed(transfer);
      transfer.lastData = Clock::now();
      if (event.length > options_.maxReplyBytes - transfer.reply.size()) {
        return fail(transfer, "the reply is larger than " + std::to_string(options_.maxReplyBytes) +
                                  " bytes");
      }
      transfer.reply.append(event.exchange->buffer.data(), event.length);
      readMore(transfer);
      break;
    case WINHTTP_CALLBACK_STATUS_REQUEST_ERROR:
      fail(transfer, errorText(event.detail, event.exchange->secureFailure));
      break;
    default:
      break;
  }
}

// Closes the transfer's request handle; its exchange stays until WinHTTP's closing notification.
void ZefaWinHttpClient::closeExchange(Transfer& transfer) {
  if (transfer.exchange == nullptr) return;
  HINTERNET request = transfer.exchange->request;
  transfer.exchange = nullptr;
  WinHttpCloseHandle(request);
}

void ZefaWinHttpClient::fail(Transfer& transfer, std::string error) {
  ZefaHttpResponse response;
  response.error = std::move(error);
  finish(transfer, std::move(response));
}

void ZefaWinHttpClient::succeed(Transfer& transfer) {
  ZefaHttpResponse response;
  response.status = transfer.status;
  response.body = std::move(transfer.reply);
  finish(transfer, std::move(response));
}

// Reports the transfer's outcome, its one completion, and forgets it.
void ZefaWinHttpClient::finish(Transfer& transfer, ZefaHttpResponse response) {
  closeExchange(transfer);
  auto completion = std::move(transfer.completion);
  const uint64_t id = transfer.id;
  active_.erase(id);  // `transfer` is gone from here
  {
    std::lock_guard lock(inbox_->mutex);
    --inbox_->pending;
  }
  if (!completion) return;
  try {
    completion(std::move(response));
  } catch (...) {
    // A completion only hands the reply on; whatever it throws must not stop the worker.
  }
}

// When the transfer `id` fails unless data arrives first; none when it is gone.
std::optional<ZefaWinHttpClient::Clock::time_point> ZefaWinHttpClient::dueOf(uint64_t id) const {
  const auto found = active_.find(id);
  if (found == active_.end()) return std::nullopt;
  return found->second->lastData + found->second->idleLimit;
}

// Fails every transfer that has waited its idle timeout without receiving data.
void ZefaWinHttpClient::expireIdle() {
  for (const uint64_t id :
       deadlines_.expired(Clock::now(), [this](uint64_t id) { return dueOf(id); })) {
    Transfer& transfer = *active_.at(id);
    fail(transfer, ZefaHttpRules::timeoutError(transfer.idleLimit));
  }
}

void ZefaWinHttpClient::workerLoop() {
  std::vector<std::unique_ptr<Transfer>> arrived;
  std::vector<Event> events;
  while (true) {
    {
      std::unique_lock lock(inbox_->mutex);
      const auto wake = std::min(deadlines_.next().value_or(Clock::time_point::max()),
                                 Clock::now() + kLongestWait);
      inbox_->wakeup.wait_until(lock, wake, [&] {
        return inbox_->stopping || !inbox_->events.empty() || !inbox_->incoming.empty();
      });
      if (inbox_->stopping) break;
      arrived.swap(inbox_->incoming);
      events.swap(inbox_->events);
    }
    for (const Event& event : events) handle(event);
    events.clear();
    for (auto& transfer : arrived) begin(std::move(transfer));
    arrived.clear();
    expireIdle();
  }
  shutDown();
}

// Reports everything not finished as cancelled, then waits (a while) for WinHTTP to release
// the handles that were closed, so that no notification names a freed exchange.
void ZefaWinHttpClient::shutDown() {
  std::vector<std::unique_ptr<Transfer>> arrived;
  {
    std::lock_guard lock(inbox_->mutex);
    arrived.swap(inbox_->incoming);
  }
  for (auto& transfer : arrived) {
    const uint64_t id = transfer->id;
    active_.emplace(id, std::move(transfer));
  }
  while (!active_.empty()) fail(*active_.begin()->second, kCancelled);

  const auto giveUp = Clock::now() + kClosingGrace;
  std::vector<Event> events;
  while (!exchanges_.empty() && Clock::now() < giveUp) {
    {
      std::unique_lock lock(inbox_->mutex);
      inbox_->wakeup.wait_until(lock, giveUp, [&] { return !inbox_->events.empty(); });
      events.swap(inbox_->events);
    }
    for (const Event& event : events) handle(event);
    events.clear();
  }
  // Exchanges WinHTTP still holds are left to it: freeing them could let a late notification
  // write into freed memory. Each keeps the inbox its notifications go to.
  for (auto& entry : exchanges_) static_cast<void>(entry.second.release());
  exchanges_.clear();
}
