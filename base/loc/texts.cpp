#include "base/loc/BuiltInTexts.h"

namespace {

constexpr loc::TextRow Rows[] = {
    {"loc_byterate_gibi_many", "%D GB/s"},
    {"loc_byterate_gibi_sing", "%D GB/s"},
    {"loc_byterate_kibi_many", "%D KB/s"},
    {"loc_byterate_kibi_sing", "%D KB/s"},
    {"loc_byterate_mebi_many", "%D MB/s"},
    {"loc_byterate_mebi_sing", "%D MB/s"},
    {"loc_byterate_unit_many", "%D bytes/s"},
    {"loc_byterate_unit_sing", "%D byte/s"},
    {"loc_bytesize_gibi_decimal", "%S GB"},
    {"loc_bytesize_kibi_decimal", "%S KB"},
    {"loc_bytesize_mebi_decimal", "%S MB"},
    {"loc_bytesize_tebi_decimal", "%S TB"},
    {"loc_bytesize_unit_many", "%D bytes"},
    {"loc_bytesize_unit_sing", "%D byte"},
    {"loc_param_locale",
     "Locale to use. Specify one of en_US, de_DE, es_ES, fr_FR, or pt_BR, or leave empty to select the user or system "
     "locale as appropriate."},
    {"loc_period_day_many", "%D days"},
    {"loc_period_day_sing", "%D day"},
    {"loc_period_hour_many", "%D hours"},
    {"loc_period_hour_sing", "%D hour"},
    {"loc_period_minute_many", "%D minutes"},
    {"loc_period_minute_sing", "%D minute"},
    {"loc_period_second_many", "%D seconds"},
    {"loc_period_second_sing", "%D second"},
    {"loc_time_tomorrow", "tomorrow"},
    {"loc_time_yesterday", "yesterday"},
    {"loc_timedate_separator", "%1$S, %2$S"},
    {"loc_timezone_separator", "%1$S %2$S"},
};

const loc::BuiltInTexts texts(Rows);

}  // namespace
