#include "platform/windows/ZefaCredentialKeychain.h"

#include <windows.h>

#include <wincred.h>

#include <algorithm>
#include <cwchar>
#include <iterator>

#include "platform/ZefaPlatform.h"
#include "platform/windows/ZefaWideText.h"

namespace {

// 100-nanosecond ticks between 1601-01-01 (the FILETIME epoch) and 1970-01-01.
constexpr uint64_t kUnixEpochTicks = 116444736000000000ULL;

double secondsSince1970(const FILETIME& time) {
  const uint64_t ticks = (static_cast<uint64_t>(time.dwHighDateTime) << 32) | time.dwLowDateTime;
  return (static_cast<double>(ticks) - static_cast<double>(kUnixEpochTicks)) / 1e7;
}

double secondsNow() {
  FILETIME now{};
  GetSystemTimePreciseAsFileTime(&now);
  return secondsSince1970(now);
}

// The creation time kept in a credential's comment; none when the comment holds no number.
std::optional<double> creationTime(const CREDENTIALW& credential) {
  if (credential.Comment == nullptr) return std::nullopt;
  wchar_t* end = nullptr;
  const double seconds = std::wcstod(credential.Comment, &end);
  if (end == credential.Comment || *end != L'\0') return std::nullopt;
  return seconds;
}

// Frees what the Credential Manager hands out.
struct CredentialFree {
  void operator()(void* buffer) const { CredFree(buffer); }
};
using Credential = std::unique_ptr<CREDENTIALW, CredentialFree>;

Credential read(const std::wstring& target) {
  PCREDENTIALW found = nullptr;
  if (!CredReadW(target.c_str(), CRED_TYPE_GENERIC, 0, &found)) return nullptr;
  return Credential(found);
}

}  // namespace

ZefaCredentialKeychain::ZefaCredentialKeychain(std::string application)
    : application_(std::move(application)) {}

std::wstring ZefaCredentialKeychain::hex(std::string_view text) {
  static constexpr wchar_t kDigits[] = L"0123456789abcdef";
  std::wstring digits;
  digits.reserve(text.size() * 2);
  for (const char c : text) {
    const auto octet = static_cast<unsigned char>(c);
    digits += kDigits[octet >> 4];
    digits += kDigits[octet & 0xf];
  }
  return digits;
}

std::optional<std::string> ZefaCredentialKeychain::fromHex(std::wstring_view digits) {
  const auto value = [](wchar_t digit) -> int {
    if (digit >= L'0' && digit <= L'9') return digit - L'0';
    if (digit >= L'a' && digit <= L'f') return digit - L'a' + 10;
    if (digit >= L'A' && digit <= L'F') return digit - L'A' + 10;
    return -1;
  };
  if (digits.size() % 2 != 0) return std::nullopt;
  std::string text;
  for (size_t i = 0; i < digits.size(); i += 2) {
    const int high = value(digits[i]);
    const int low = value(digits[i + 1]);
    if (high < 0 || low < 0) return std::nullopt;
    text += static_cast<char>(high * 16 + low);
  }
  return text;
}

std::wstring ZefaCredentialKeychain::servicePrefix(std::string_view service) const {
  return L"ZefaBase:" + hex(application_) + L"/" + hex(service) + L"/";
}

std::wstring ZefaCredentialKeychain::targetName(std::string_view service,
                                                std::string_view account) const {
  return servicePrefix(service) + hex(account);
}

bool ZefaCredentialKeychain::setPassword(const std::string& password, const std::string& service,
                                         const std::string& account) {
  if (password.size() > CRED_MAX_CREDENTIAL_BLOB_SIZE) return false;
  std::wstring target = targetName(service, account);
  if (target.size() > CRED_MAX_GENERIC_TARGET_NAME_LENGTH) return false;
  // A replaced password keeps the entry's creation time.
  std::optional<double> created;
  if (const Credential earlier = read(target)) created = creationTime(*earlier);
  wchar_t comment[64] = {};
  swprintf(comment, std::size(comment), L"%.7f", created.value_or(secondsNow()));
  std::wstring userName = ZefaWideText::fromUtf8(account);
  if (userName.size() > CRED_MAX_USERNAME_LENGTH) userName.clear();

  CREDENTIALW credential{};
  credential.Type = CRED_TYPE_GENERIC;
  credential.TargetName = target.data();
  credential.Comment = comment;
  credential.CredentialBlobSize = static_cast<DWORD>(password.size());
  credential.CredentialBlob =
      reinterpret_cast<LPBYTE>(const_cast<char*>(password.data()));  // only read
  credential.Persist = CRED_PERSIST_LOCAL_MACHINE;
  credential.UserName = userName.empty() ? nullptr : userName.data();
  return CredWriteW(&credential, 0) != FALSE;
}

std::optional<std::string> ZefaCredentialKeychain::password(const std::string& service,
                                                            const std::string& account) {
  const Credential credential = read(targetName(service, account));
  if (!credential) return std::nullopt;
  if (credential->CredentialBlobSize == 0) return std::string();
  return std::string(reinterpret_cast<const char*>(credential->CredentialBlob),
                     credential->CredentialBlobSize);
}

std::optional<std::vector<ZefaJsonObject>> ZefaCredentialKeychain::accounts(
    const std::string& service) {
  const std::wstring prefix = servicePrefix(service);
  const std::wstring filter = prefix + L"*";
  DWORD count = 0;
  PCREDENTIALW* list = nullptr;
  // No match is a failure with ERROR_NOT_FOUND: like the platform keychains, no list at all.
  if (!CredEnumerateW(filter.c_str(), 0, &count, &list)) return std::nullopt;
  const std::unique_ptr<PCREDENTIALW, CredentialFree> owned(list);
  struct Entry {
    double created;
    ZefaJsonObject attributes;
  };
  std::vector<Entry> entries;
  for (DWORD i = 0; i < count; ++i) {
    const CREDENTIALW& credential = *list[i];
    if (credential.Type != CRED_TYPE_GENERIC || credential.TargetName == nullptr) continue;
    const std::wstring_view target = credential.TargetName;
    // The filter ignores case; only the exact prefix (in lower-case hex) is this service's.
    if (target.substr(0, prefix.size()) != prefix) continue;
    const std::optional<std::string> account = fromHex(target.substr(prefix.size()));
    if (!account) continue;
    const double modified = secondsSince1970(credential.LastWritten);
    const double created = creationTime(credential).value_or(modified);
    ZefaJsonObject attributes;
    attributes.emplace("acct", *account);
    attributes.emplace("svce", service);
    attributes.emplace("cdat", created);
    attributes.emplace("mdat", modified);
    entries.push_back({created, std::move(attributes)});
  }
  if (entries.empty()) return std::nullopt;
  std::stable_sort(entries.begin(), entries.end(),
                   [](const Entry& a, const Entry& b) { return a.created < b.created; });
  std::vector<ZefaJsonObject> result;
  for (Entry& entry : entries) result.push_back(std::move(entry.attributes));
  return result;
}

bool ZefaCredentialKeychain::deletePassword(const std::string& service,
                                            const std::string& account) {
  return CredDeleteW(targetName(service, account).c_str(), CRED_TYPE_GENERIC, 0) != FALSE;
}

std::shared_ptr<ZefaKeychain> zefa::platform_defaults::makeKeychain() {
  return std::make_shared<ZefaCredentialKeychain>(
      ZefaPlatform::current().bundle().bundleIdentifier().value_or(""));
}
