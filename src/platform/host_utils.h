// The host process's utility library (libfdr_hostutil): log sinks and the domain-account check.
#pragma once

#include <string>

// Appends one formatted line to the file at `path`, keeping it under `max_size` bytes (the file
// is rotated to "<path>.1" first when the line would not fit). Write failures are ignored.
int log_File_Debug_s(const char* path, long max_size, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

// Writes one formatted line to the federation centre's debug log, beside the centre log.
void center_log_debug(const char* format, ...) __attribute__((format(printf, 1, 2)));

// Sets `is_domain` to true when `name` names a directory (domain) account.
int fdrutil_check_is_domain_user(std::string name, bool& is_domain);
