#include "base/loc/BuiltInTexts.h"

namespace {

constexpr loc::TextRow Rows[] = {
    {"plat_bad_argument", "Bad argument '%S'."},
    {"plat_configuration_global_params", "Global parameters"},
    {"plat_configuration_help_default", "default"},
    {"plat_configuration_log_dests_title", "Log destinations:"},
    {"plat_configuration_log_names_title", "Log names:"},
    {"plat_configuration_option_usage_only", "Options are parameters."},
    {"plat_configuration_option_usage_with_extra", "Options are parameters, and also the following:"},
    {"plat_configuration_param_usage",
     "Parameters can be turned on with -<param> or off with -<param>=0\n"
     "Values can be specified as -<param> <value>\n"
     "Other valid forms are <param>=<value> -<param>=<value> --<param>=<value>\n"
     "Names are case-insensitive.  Valid parameters are listed below."},
    {"plat_missing_argument", "Missing argument to '%S'."},
    {"plat_param_log", "Record events in the format <log>:<target>:<level>[,...]."},
    {"plat_param_log_keep_days", "Keep log files for X days."},
    {"plat_param_logdir", "Directory in which to store log output directed to file."},
    {"plat_param_logfile", "File in which to store log output directed to file."},
    {"plat_press_return_to_continue", "Press Enter/Return key to continue"},
    {"plat_run_with_help", "Run with -help for usage."},
    {"plat_string_too_long", "String too long"},
    {"plat_this_program_not_directly", "This program is not intended to be run directly."},
    {"plat_usage_help", "Provide [advanced] usage information."},
    {"plat_usage_label", "Usage:"},
};

const loc::BuiltInTexts texts(Rows);

}  // namespace
