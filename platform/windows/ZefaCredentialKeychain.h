#pragma once
// The keychain of this platform: one generic credential of the Windows Credential Manager per
// (service, account), kept for the local machine's user profile. The password's bytes are the
// credential blob (at most 2560 bytes); they are never logged.
//
// Target names are "ZefaBase:" followed by the application, the service and the account, each as
// the lower-case hexadecimal digits of its UTF-8 bytes, joined by "/". The Credential Manager
// compares target names without regard to case and reads "*" in a filter as a wildcard; hex
// digits keep "ZefaSDK" and "ZefaSDk" apart, and no text can forge a separator or a wildcard, so
// every service and account round-trips. The application (the bundle identifier) keeps the
// entries of two games apart, as each has its own keychain on a phone. The credential's user name
// shows the account and its comment the creation time, for the Credential Manager's own viewer.
//
// accounts() gives, per account in creation order: "acct" (account), "svce" (service), and
// "cdat" / "mdat", the creation and last modification times as seconds since 1970 (numbers).
// Thread-safe: every call asks the Credential Manager afresh.
#include <optional>
#include <string>
#include <string_view>

#include "ZefaBase/ZefaExport.h"
#include "platform/ZefaKeychain.h"

class ZEFA_EXPORT ZefaCredentialKeychain final : public ZefaKeychain {
 public:
  // The keychain of `application` (usually the bundle identifier; may be empty).
  explicit ZefaCredentialKeychain(std::string application);

  bool setPassword(const std::string& password, const std::string& service,
                   const std::string& account) override;
  std::optional<std::string> password(const std::string& service,
                                      const std::string& account) override;
  std::optional<std::vector<ZefaJsonObject>> accounts(const std::string& service) override;
  bool deletePassword(const std::string& service, const std::string& account) override;

  // The target name of (service, account) of this keychain.
  std::wstring targetName(std::string_view service, std::string_view account) const;
  // The start shared by the target names of every account of `service`.
  std::wstring servicePrefix(std::string_view service) const;

  // Lower-case hex digits of `text`'s bytes, and back; none for text that is not such digits.
  static std::wstring hex(std::string_view text);
  static std::optional<std::string> fromHex(std::wstring_view digits);

 private:
  std::string application_;
};
