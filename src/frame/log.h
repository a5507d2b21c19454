// The library's log lines. Each begins with where it comes from, in one of three forms that log readers know:
// "file:line " or, in the older functions, "function(line) " and "file (line) ".
#pragma once

#include <syslog.h>

#include "frame/error.h"
#include "kavo/core.h"

// NOLINTBEGIN(cppcoreguidelines-macro-usage): only a macro can join the formats where the compiler still checks them.
#define KAVO_LOG(level, format, ...) syslog(level, "%s:%d " format, __FILE_NAME__, __LINE__ __VA_OPT__(, ) __VA_ARGS__)
#define KAVO_LOG_FUNCTION(level, format, ...)                                                                          \
    syslog(level, "%s(%d) " format, __func__, __LINE__ __VA_OPT__(, ) __VA_ARGS__)
#define KAVO_LOG_FILE(level, format, ...)                                                                              \
    syslog(level, "%s (%d) " format, __FILE_NAME__, __LINE__ __VA_OPT__(, ) __VA_ARGS__)

// For helpers that several functions share: the line names the place that called the helper.
#define log_err_at(path, line, format, ...)                                                                            \
    syslog(LOG_ERR, "%s:%d " format, kavonet::bare_name(path), line __VA_OPT__(, ) __VA_ARGS__)

#define log_err(...) KAVO_LOG(LOG_ERR, __VA_ARGS__)
#define log_warning(...) KAVO_LOG(LOG_WARNING, __VA_ARGS__)
#define log_info(...) KAVO_LOG(LOG_INFO, __VA_ARGS__)
#define log_debug(...) KAVO_LOG(LOG_DEBUG, __VA_ARGS__)

#define log_function_err(...) KAVO_LOG_FUNCTION(LOG_ERR, __VA_ARGS__)
#define log_function_warning(...) KAVO_LOG_FUNCTION(LOG_WARNING, __VA_ARGS__)

#define log_file_err(...) KAVO_LOG_FILE(LOG_ERR, __VA_ARGS__)

// What the functions that name the failed condition write; its spelling is what log readers look for.
#define log_invalid_argument(condition, value) log_err("Invaild Argument (%s)=[%d]\n", condition, value)

// The platform's own record, for the lines that end in "[0x%04X %s:%d]".
#define PLATFORM_ERROR KLIBCErrGet(), KLIBCErrorGetFile(), KLIBCErrorGetLine()
// NOLINTEND(cppcoreguidelines-macro-usage)
