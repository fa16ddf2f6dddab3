#include "base/loc/BuiltInTexts.h"

namespace {

constexpr loc::TextRow Rows[] = {
    {"product_about_fmt", "About %S"},
    {"product_ack_intro", "This product includes software by third parties.  Their notices are listed at:"},
    {"product_copyright", "Copyright © 2026 Quenlar.  All rights reserved."},
    {"product_further_info", "Further information about this product: https://www.quenlar.example/fops"},
    {"product_info_marked_up_fmt", "<div>Notices of third parties: <a href=\"%S\">acknowledgements</a></div>"},
    {"product_patents", "Patents may apply to this product."},
    {"product_trademarks", "Quenlar® is a trademark of its owner."},
};

const loc::BuiltInTexts texts(Rows);

}  // namespace
