// The HTTP transport: GET with a query and POST with a JSON body. A request is checked and built
// on the caller's thread, moved by the platform's client, and its outcome decoded and reported on
// the main thread.
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "ZefaBase/ZefaDescription.h"
#include "ZefaBase/ZefaLog.h"
#include "ZefaBase/ZefaSDKUtils.h"
#include "ZefaBase/ZefaURL.h"
#include "ZefaBase/ZefaUtf8.h"
#include "platform/ZefaPlatform.h"

namespace {

constexpr std::string_view kFile = "ZefaBase/ZefaSDKUtils";
constexpr std::string_view kGet = "get(_:_:_:_:_:_:)";
constexpr std::string_view kPostJson = "postJson(_:_:_:_:_:_:)";

constexpr int64_t kGetAddressLine = 262;
constexpr int64_t kGetRequestErrorLine = 318;
constexpr int64_t kPostAddressLine = 287;
constexpr int64_t kPostParamsLine = 296;
constexpr int64_t kPostRequestErrorLine = 318;

constexpr const char* kIncorrectAddress = "incorrect network address";
constexpr const char* kParameterError = "request parameter error";
constexpr const char* kResponseException = "response data exception";

enum class Operation { Get, PostJson };

std::string_view functionOf(Operation operation) {
  return operation == Operation::Get ? kGet : kPostJson;
}

// The plain text of a GET parameter value: text unquoted, numbers and booleans as written.
std::string plainText(const ZefaJson& value) {
  if (value.is_string()) return value.get_ref<const std::string&>();
  if (value.is_boolean()) return value.get<bool>() ? "true" : "false";
  if (value.is_number_unsigned()) return std::to_string(value.get<uint64_t>());
  if (value.is_number_integer()) return std::to_string(value.get<int64_t>());
  if (value.is_number_float()) return ZefaDescription::number(value.get<double>());
  return ZefaDescription::describe(value);
}

// A text made from the blocks the thread keeps (ZefaBlockCache).
using KeptText = std::basic_string<char, std::char_traits<char>, ZefaBlockAllocator<char>>;

std::string headersText(const std::optional<ZefaHeaders>& headers) {
  if (!headers) return "nil";
  ZefaJsonObject object;
  for (const auto& [name, value] : *headers) object.emplace(name, value);
  return ZefaDescription::describe(object);
}

// What a started request keeps until its outcome has been reported once. Not the parameters:
// only a debug line, which is never written, would show them. Made, and released, on the main
// thread (from the blocks the thread keeps: a drain frees many at once); the client's thread
// only fills in `response` and hands `deliver` to `queue`.
struct Pending {
  Operation operation;
  KeptText url;  // for the debug line
  ZefaHttpSuccessCallback success;
  ZefaHttpFailedCallback failed;
  ZefaHttpResponse response;
  std::shared_ptr<ZefaMainQueue> queue;
  std::function<void()> deliver;
};

// Bodies of delivered replies, kept by the thread that decoded them as room for the replies to
// its next calls: a drain frees a dozen bodies, and the next round of calls needs as many.
constexpr size_t kSpareBodies = 64;
constexpr size_t kLargestSpareBody = 4096;
thread_local std::vector<std::string> spareBodies;

void keepBody(std::optional<std::string>& body) {
  if (!body || body->capacity() > kLargestSpareBody ||
      body->capacity() <= std::string().capacity() || spareBodies.size() >= kSpareBodies) {
    return;
  }
  body->clear();
  spareBodies.push_back(std::move(*body));
}

std::string spareBody() {
  if (spareBodies.empty()) return {};
  std::string body = std::move(spareBodies.back());
  spareBodies.pop_back();
  return body;
}

std::shared_ptr<Pending> makePending(Operation operation, const ZefaURL& url,
                                     ZefaHttpSuccessCallback success,
                                     ZefaHttpFailedCallback failed) {
  return std::allocate_shared<Pending>(ZefaBlockAllocator<Pending>{},
                                       Pending{operation,
                                               KeptText(url.absoluteString()),
                                               std::move(success),
                                               std::move(failed),
                                               {},
                                               {},
                                               {}});
}

// Runs on the main thread: decodes the reply and reports exactly one outcome.
void report(Pending& pending) {
  ZefaHttpResponse& response = pending.response;
  const std::string_view function = functionOf(pending.operation);
  if (response.error) {
    const std::string message = "request error: " + *response.error + ";";
    const int64_t line =
        pending.operation == Operation::Get ? kGetRequestErrorLine : kPostRequestErrorLine;
    ZefaLog::e(message, ZefaLogSite{kFile, function, line});
    if (pending.failed) pending.failed(message);
    return;
  }
  // One pass decodes a well-formed reply (the parser checks its UTF-8 too). Only a reply that is
  // not JSON is looked at again: a body that is not UTF-8 is refused without a log line, any
  // other is decoded once more by the helper that writes the error line.
  std::optional<ZefaJsonObject> decoded;
  if (response.body) {
    std::optional<ZefaJson> value = ZefaJsonText::parse(*response.body);
    if (value && value->is_object()) {
      decoded = std::move(value->get_ref<ZefaJsonObject&>());
    } else if (!value && ZefaUtf8::isValid(*response.body)) {
      decoded = ZefaSDKUtils::jsonStringToDictionary(*response.body);
    }
  }
  keepBody(response.body);
  if (!decoded) {
    if (pending.failed) pending.failed(kResponseException);
    return;
  }
  ZefaLog::d(
      [&] {
        const char* tag =
            pending.operation == Operation::Get ? "request[get] url: " : "request[postJson] url: ";
        return tag + std::string(pending.url) + "; result: " + ZefaDescription::describe(*decoded);
      },
      ZefaLogSite{kFile, function, 0});
  if (pending.success) pending.success(*decoded);
  ZefaJsonText::release(*decoded);
}

// Hands the request to the platform's client. Its completion only moves the reply to the main
// queue; everything else happens there.
void startRequest(ZefaHttpRequest request, std::shared_ptr<Pending> shared) {
  ZefaPlatform& platform = ZefaPlatform::current();
  // The request holds the queue it reports to: a queue replaced meanwhile stays alive until the
  // reply has been handed to it (and is then dropped unrun with it). The queue is taken first:
  // it is then made before, and outlives, a default client.
  std::shared_ptr<ZefaMainQueue> mainQueue = platform.sharedMainQueue();
  ZefaHttpClient& client = platform.http();
  // The task that reports the reply is made here, on the main thread, and holds the only
  // reference to the request's state; the state holds the task until the completion hands it on
  // to the main queue (a client runs every completion once), so the callbacks (and whatever
  // they hold) are released on the main thread, never on the client's. Blocks made on one
  // thread and freed on the other are slow to free: the client's thread frees none of the
  // request's (the completion keeps only a pointer, which std::function holds in place) and,
  // with the room a client makes for the reply, makes none that the main thread frees.
  Pending* pending = shared.get();
  pending->queue = std::move(mainQueue);
  pending->deliver = ZefaKeptCallable([shared = std::move(shared)] { report(*shared); });
  request.replyRoom = spareBody();
  client.start(std::move(request), [pending](ZefaHttpResponse response) {
    pending->response = std::move(response);
    const std::shared_ptr<ZefaMainQueue> queue = std::move(pending->queue);
    queue->async(std::move(pending->deliver));
  });
}

void failEarly(Operation operation, int64_t line, const char* message,
               const ZefaHttpFailedCallback& failed) {
  ZefaLog::e(message, ZefaLogSite{kFile, functionOf(operation), line});
  if (failed) failed(message);
}

}  // namespace

void ZefaSDKUtils::get(const std::string& url, const std::optional<ZefaJsonObject>& params,
                       const std::optional<ZefaHeaders>& headers, double timeout,
                       ZefaHttpSuccessCallback success, ZefaHttpFailedCallback failed) {
  std::string query;
  if (params) {
    query = "?";
    bool first = true;
    for (const auto& [key, value] : *params) {
      if (!first) query += "&";
      first = false;
      query += key;
      query += "=";
      query += plainText(value);
    }
  }
  ZefaLog::d(
      [&] {
        return "postJson url: " + url + "; body: " + query + "; headers: " + headersText(headers) +
               ";";
      },
      ZefaLogSite{kFile, kGet, 0});

  std::optional<ZefaURL> parsed = ZefaURL::fromString(url + query);
  if (!parsed) {
    failEarly(Operation::Get, kGetAddressLine, kIncorrectAddress, failed);
    return;
  }

  std::shared_ptr<Pending> pending =
      makePending(Operation::Get, *parsed, std::move(success), std::move(failed));
  ZefaHttpRequest request;
  request.method = "GET";
  request.url = std::move(*parsed).absoluteString();
  request.timeoutSeconds = timeout;
  request.body = std::move(query);
  if (!headers) {
    request.headers = {{"Content-Type", "x-www-form-urlencoded"}, {"Accept", "application/json"}};
  } else {
    request.headers.assign(headers->begin(), headers->end());
  }
  startRequest(std::move(request), std::move(pending));
}

void ZefaSDKUtils::postJson(const std::string& url, const std::optional<ZefaJsonObject>& params,
                            const std::optional<ZefaHeaders>& headers, double timeout,
                            ZefaHttpSuccessCallback success, ZefaHttpFailedCallback failed) {
  std::optional<ZefaURL> parsed = ZefaURL::fromString(url);
  if (!parsed) {
    failEarly(Operation::PostJson, kPostAddressLine, kIncorrectAddress, failed);
    return;
  }
  // Serialised once, straight from the caller's object; the same bytes are the body and give
  // its length.
  static const ZefaJsonObject kNoParams;
  std::optional<std::string> json = bodyToJsonString(params ? *params : kNoParams);
  if (!json) {
    failEarly(Operation::PostJson, kPostParamsLine, kParameterError, failed);
    return;
  }
  ZefaLog::d(
      [&] {
        return "postJson url: " + parsed->absoluteString() + "; paramsJson: " + *json +
               "; headers: " + headersText(headers) + ";";
      },
      ZefaLogSite{kFile, kPostJson, 0});

  std::shared_ptr<Pending> pending =
      makePending(Operation::PostJson, *parsed, std::move(success), std::move(failed));
  ZefaHttpRequest request;
  request.method = "POST";
  request.url = std::move(*parsed).absoluteString();
  request.timeoutSeconds = timeout;
  if (!headers) {
    request.headers = {{"Content-Type", "application/json"}, {"Accept", "application/json"}};
  } else {
    request.headers.reserve(headers->size() + 1);
    for (const auto& [name, value] : *headers) {
      if (!value.empty()) request.headers.emplace_back(name, value);
    }
  }
  request.headers.emplace_back("Content-length", std::to_string(json->size()));
  request.body = std::move(*json);
  startRequest(std::move(request), std::move(pending));
}
