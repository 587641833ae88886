// Reader of the federation service's privilege-timestamp answer ("/fdr/Config"). Unlike the
// other answers it is read with jsoncpp, whose reading of odd answers the host relies on.
#pragma once

#include <string>

class CPrivilegeJsonParser {
  public:
    // Replaces `timestamp` with the answer's "config" text, which is empty both for an unset
    // value and for an answer that is not a JSON object. An error answer (an "err_code" other
    // than the integer 0) is logged to the aggregator log and still read. A "config" that is an
    // array or an object raises jsoncpp's Json::LogicError, which reaches the host.
    static void ParsePrivilegeTime(const std::string& answer, std::string& timestamp);
};
