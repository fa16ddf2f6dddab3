#include "base/loc/OsLocale.h"

#include <cctype>
#include <map>

#include <langinfo.h>

#include "base/loc/localeLog.h"
#include "base/plat/Lock.h"
#include "base/plat/Mutex.h"
#include "base/plat/NeverDestroyed.h"
#include "base/plat/log/LogSrc.h"

// What the C library knows of a locale is found out by setting it for a moment; so names are tried, and answers kept.

namespace loc {

namespace {

/// The answers found so far, under a lock of their own. A refusal is not kept: the locale may be installed later.
struct Cache {
  plat::Mutex mutex;
  std::map<std::string, OsLocale> resolved;
  std::map<std::string, locale_t> objects;
};

Cache& cache() {
  static plat::NeverDestroyed<Cache> instance;  // outlives every static object that may still translate
  return *instance;
}

struct ProcessLocale {
  plat::Mutex mutex;
  OsLocale locale;
};

ProcessLocale& processLocale() {
  static plat::NeverDestroyed<ProcessLocale> instance;
  return *instance;
}

std::string foldCodeset(const char* codeset) {
  std::string folded;
  for (const char* c = codeset; *c; ++c) {
    if (*c != '-' && *c != '_') {
      folded += static_cast<char>(std::tolower(static_cast<unsigned char>(*c)));
    }
  }
  return folded;
}

bool startsWith(const std::string& text, const char* prefix) {
  return text.rfind(prefix, 0) == 0;
}

/// Restores LC_CTYPE, which probing has to change. Meanwhile the thread goes without a locale of its own, by which the
/// system library would answer otherwise.
class CtypeSaver {
public:
  CtypeSaver() : threads_(uselocale(LC_GLOBAL_LOCALE)) {
    // Copied, since the next setlocale(3) may overwrite what it answers.
    if (const char* now = setlocale(LC_CTYPE, nullptr)) {
      saved_ = now;
    }
  }
  CtypeSaver(const CtypeSaver&) = delete;
  CtypeSaver& operator=(const CtypeSaver&) = delete;
  ~CtypeSaver() {
    setlocale(LC_CTYPE, saved_.c_str());
    uselocale(threads_);
  }

private:
  locale_t threads_;
  std::string saved_ = "C";
};

/// What the system library says of one exact name: its own spelling in `answer`, and the codeset.
bool probe(const std::string& name, std::string& answer, Codeset& codeset) {
  const CtypeSaver saver;
  const char* accepted = setlocale(LC_CTYPE, name.c_str());
  if (!accepted) {
    return false;
  }
  answer = accepted;
  codeset = classifyCodeset(nl_langinfo(CODESET));
  return true;
}

bool probeSpelling(const std::string& stem, const std::string& modifier, const char* spelling, Codeset wanted,
                   OsLocale& result) {
  std::string name = stem + "." + spelling;
  if (!modifier.empty()) {
    name += "@" + modifier;
  }
  std::string answer;
  Codeset codeset = Codeset::Other;
  // The system may know a name and yet mean another codeset by it.
  if (!probe(name, answer, codeset) || codeset != wanted) {
    return false;
  }
  result = {name, wanted};
  return true;
}

/// UTF-8 first, which is what all texts here are in; with another codeset they are converted and may lose characters.
/// A name may come without a codeset, and how systems spell theirs differs, so the usual spellings are tried in turn.
bool resolveUncached(const std::string& name, OsLocale& result) {
  std::string answer = name;
  Codeset codeset = Codeset::Other;
  const bool known = probe(name, answer, codeset);
  if (known && codeset == Codeset::Utf8) {
    result = {name, codeset};
    return true;
  }
  const std::size_t cut = answer.find_first_of(".@");
  const std::string stem = answer.substr(0, cut);
  const std::size_t at = answer.find('@');
  const std::string modifier = at == std::string::npos ? std::string() : answer.substr(at + 1);
  for (const char* spelling : {"UTF-8", "utf-8", "UTF8", "utf8"}) {
    if (probeSpelling(stem, modifier, spelling, Codeset::Utf8, result)) {
      return true;
    }
  }
  if (known && (codeset == Codeset::Latin1 || codeset == Codeset::Ascii)) {
    result = {name, codeset};
    return true;
  }
  for (const char* spelling : {"ISO-8859-1", "ISO8859-1", "iso88591", "ISO-8859-15", "ISO8859-15"}) {
    if (probeSpelling(stem, modifier, spelling, Codeset::Latin1, result)) {
      return true;
    }
  }
  return probeSpelling(stem, modifier, "US-ASCII", Codeset::Ascii, result);
}

}  // namespace

/// By their beginning ISO 8859-15 counts too, which is Latin-1 with the euro sign and a few letters. ASCII goes by
/// several names: the C library says "ANSI_X3.4-1968", the IANA registry also has "ISO646-US" and "iso-ir-6".
Codeset classifyCodeset(const char* codeset) {
  const std::string folded = foldCodeset(codeset ? codeset : "");
  if (folded == "utf8") {
    return Codeset::Utf8;
  }
  if (startsWith(folded, "iso88591")) {
    return Codeset::Latin1;
  }
  const bool ascii = folded.find("ascii") != std::string::npos || folded == "isoir6" || folded == "646" ||
                     startsWith(folded, "iso646") || startsWith(folded, "ansix3.4");
  return ascii ? Codeset::Ascii : Codeset::Other;
}

bool resolveOsLocale(const std::string& name, OsLocale& result) {
  const plat::Lock lock(cache().mutex);
  // Held while probing: the locale is the whole process's, and two probes would restore each other's.
  auto found = cache().resolved.find(name);
  if (found == cache().resolved.end()) {
    OsLocale fresh;
    if (!resolveUncached(name, fresh)) {
      return false;
    }
    found = cache().resolved.emplace(name, fresh).first;
  }
  result = found->second;
  return true;
}

OsLocale chooseOsLocale(const std::vector<std::string>& locales) {
  for (const std::string& name : locales) {
    OsLocale found;
    if (resolveOsLocale(name, found)) {
      return found;
    }
    localeLog().info("No OS support for locale \"%s\"", name.c_str());
  }
  return {};
}

/// Kept, since asking changes the process's locale for a moment.
const std::string& systemLocaleName() {
  static const std::string name = [] {
    const char* now = setlocale(LC_MESSAGES, nullptr);
    const std::string saved = now ? now : "C";
    const char* fromEnvironment = setlocale(LC_MESSAGES, "");
    std::string answer = fromEnvironment ? fromEnvironment : "C";
    setlocale(LC_MESSAGES, saved.c_str());
    return answer;
  }();
  return name;
}

OsLocale processOsLocale() {
  const plat::Lock lock(processLocale().mutex);
  return processLocale().locale;
}

void setProcessOsLocale(const OsLocale& locale) {
  const plat::Lock lock(processLocale().mutex);
  processLocale().locale = locale;
}

locale_t osLocaleObject(const std::string& name) {
  const plat::Lock lock(cache().mutex);
  locale_t& object = cache().objects[name];
  // A refusal was stored as null and is asked about anew: the locale may have been installed since.
  if (!object) {
    object = newlocale(LC_ALL_MASK, name.c_str(), locale_t{});
  }
  return object;
}

}  // namespace loc
