#include "libs/product/VersionInfoUpdater.h"

#include <cstring>

#include "base/loc/format.h"
#include "base/loc/translate.h"
#include "base/os/info/AppInfo.h"
#include "base/os/info/sysInfo.h"
#include "base/plat/DString.h"
#include "base/plat/config/ConfigParameter.h"
#include "base/plat/config/Configuration.h"
#include "base/plat/logging/LogDestFile.h"
#include "base/plat/strings.h"
#include "libs/product/ProductInfo.h"

namespace qzutil {

namespace {

#if defined(__aarch64__)
constexpr char Processor[] = "ARMv8-A";
#elif defined(__x86_64__)
constexpr char Processor[] = "x86-64";
#elif defined(__i386__)
constexpr char Processor[] = "x86";
#elif defined(__riscv)
constexpr char Processor[] = "RISC-V";
#else
constexpr char Processor[] = "unknown";
#endif

plat::String makeVersionLine() {
  plat::DString line;
  line.appendFormat("%s %s %s (%s)", os::AppInfo::getDisplayName().get(), productInfo().productVersion.get(), Processor,
                    __DATE__);
  // The compiler's date has a blank in place of the first digit of a day below 10.
  line.replaceAll("  ", " ");
  return line.takeString();
}

plat::String makeOsLine() {
  const plat::String distribution = os::distributionName();
  const plat::String known = distribution.empty() ? plat::String("") : plat::String::format("%s, ", distribution.get());
  return plat::String::format("OS: %s%s, %s", known.get(), os::kernelDescription().get(), os::machineName().get());
}

plat::String makeAboutHtml(const plat::String& link) {
  plat::DString html;
  for (const char* key : {"product_copyright", "product_trademarks", "product_patents"}) {
    html.appendFormat("<div>%s</div>", LOC_TR(key));
  }
  html.append(loc::format(loc::translate("product_info_marked_up_fmt", __FILE__, __LINE__, true), {link.get()}).get());
  return html.takeString();
}

plat::String makeProductInfo(const plat::String& link) {
  plat::DString text;
  text.appendFormat("%s\n%s\n%s\n%s\n%s\n%s\n%s\n%s", productInfo().versionLine.get(), LOC_TR("product_copyright"),
                    LOC_TR("product_trademarks"), LOC_TR("product_patents"), LOC_TR("product_further_info"),
                    LOC_TR("product_ack_intro"), link.get(), productInfo().osLine.get());
  text.replaceAll("®", "(R)");
  text.replaceAll("©", "(C)");
  text.replaceAll("™", "(TM)");
  return plat::wrapWords(text.get(), 79, 0);
}

}  // namespace

// The texts are kept as they were translated, hence the hook: a locale that is set later has to reach them.
VersionInfoUpdater::VersionInfoUpdater(const char* linkVersion) : linkVersion_(linkVersion) {
  plat::Configuration::global().getParam("Locale").addCallback(this);
  update();
}

VersionInfoUpdater::~VersionInfoUpdater() {
  plat::Configuration::global().getParam("Locale").removeCallback(this);
}

void VersionInfoUpdater::parameterChanged(plat::ConfigParameter&, int) {
  update();
}

plat::String VersionInfoUpdater::acknowledgementsLink() const {
  const char* version = linkVersion_.get() ? linkVersion_.get() : productInfo().productBuild.get();
  const std::size_t length = linkVersion_.get() ? std::strlen(version) : std::strcspn(version, ".");
  return plat::String::format("https://www.quenlar.example/fops/%.*s/acknowledgements", static_cast<int>(length),
                              version);
}

void VersionInfoUpdater::update() {
  const plat::String link = acknowledgementsLink();
  ProductInfo& info = productInfo();
  info.versionLine = makeVersionLine();
  info.aboutHtml = makeAboutHtml(link);
  info.osLine = makeOsLine();
  // Behind the two lines that it is made of.
  info.productInfo = makeProductInfo(link);
  plat::LogDestFile::setHeader(info.productInfo.get());
}

}  // namespace qzutil
