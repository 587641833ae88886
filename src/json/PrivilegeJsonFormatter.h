// The body of a privilege report request.
#pragma once

#include <string>

class CPrivilegeJsonFormatter {
  public:
    // Replaces `out` with {"report_type":0,"access_type":0,"is_domain":<bool>,"identifies":...}
    // for `user` ("" when building fails). "identifies" is an array of the one name, or an empty
    // object for an empty name. `second` is ignored. Always 0.
    static int FormatterPrivilegeInfo(std::string& user, std::string& second, std::string& out);
};
