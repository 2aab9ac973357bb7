#include "ZefaBase/ZefaLog.h"

#include <cmath>
#include <cstdio>

#include "ZefaBase/ZefaCalendar.h"
#include "platform/ZefaPlatform.h"

namespace {

ZefaLogSink& sink() {
  static ZefaLogSink installed;
  return installed;
}

// The local offset from UTC, read once at the first line and kept for the process's life.
int64_t interval() {
  static const int64_t offset = ZefaPlatform::current().clock().utcOffsetSeconds();
  return offset;
}

constexpr char kLetters[4] = {'I', 'D', 'W', 'E'};

}  // namespace

std::string ZefaLogSite::functionText(std::string_view pretty) {
  // The name: what precedes the first top-level "(", without return type and scopes.
  const size_t open = pretty.find('(');
  std::string_view name = pretty.substr(0, open);
  if (const auto space = name.rfind(' '); space != std::string_view::npos)
    name.remove_prefix(space + 1);
  if (const auto scope = name.rfind("::"); scope != std::string_view::npos)
    name.remove_prefix(scope + 2);
  // The parameters: top-level commas inside the parenthesis, none for "()" or "(void)".
  int parameters = 0;
  if (open != std::string_view::npos) {
    int level = 0;
    bool any = false;
    for (size_t i = open + 1; i < pretty.size(); ++i) {
      const char c = pretty[i];
      if (c == '(' || c == '<' || c == '[') ++level;
      if (c == '>' || c == ']') --level;
      if (c == ')' && level-- == 0) break;
      if (c == ',' && level == 0) ++parameters;
      if (c != ' ') any = true;
    }
    if (any && pretty.substr(open + 1, 5) != "void)") ++parameters;
  }
  std::string text(name);
  text.push_back('(');
  for (int p = 0; p < parameters; ++p) text += "_:";
  text.push_back(')');
  return text;
}

void ZefaLog::setSink(ZefaLogSink newSink) { sink() = std::move(newSink); }

void ZefaLog::write(ZefaLogLevel level, const ZefaLogSite& site, std::string_view message,
                    std::string_view terminator) {
  const double now = ZefaPlatform::current().clock().now() + static_cast<double>(interval());
  std::string_view file = site.fileFullPath;
  if (const auto slash = file.rfind('/'); slash != std::string_view::npos)
    file.remove_prefix(slash + 1);

  std::string line;
  line.reserve(64 + file.size() + site.function.size() + message.size());
  line += '[';
  line += ZefaCalendar::dateTimeText(static_cast<int64_t>(std::floor(now)));
  line += " +0000][";
  line += kLetters[static_cast<int>(level) & 3];
  line += "][";
  line += file;
  line += "][";
  line += site.function;
  line += "](";
  line += std::to_string(site.line);
  line += "):Zefa[Swift]-> ";
  line += message;
  line += terminator;

  if (const auto& installed = sink()) {
    installed(level, line);
    return;
  }
  // One write per line: lines from several threads never interleave.
  std::fwrite(line.data(), 1, line.size(), stdout);
  std::fflush(stdout);
}
