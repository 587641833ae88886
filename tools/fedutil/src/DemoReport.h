// How `fedutil demo` shows itself: one aligned row per step as it completes, what each service
// received, and the closing summary line.
#pragma once

#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "DemoJournal.h"
#include "TextTable.h"

namespace fedutil {

struct StepRecord {
    int number = 0;
    std::string title;      // "read the member servers"
    std::string operation;  // "LoadFdrAutonomyListSetting"
    std::optional<int> result;
    bool passed = false;
    std::string detail;
};

// Rows are printed as the steps finish, so the widths are fixed up front.
struct StepPrinter {
    std::ostream& out;
    Style style;
    size_t title_width;
    size_t operation_width;

    void Header() const;
    void Row(const StepRecord& step) const;
};

// Every exchange the services received, grouped by service in port order.
void PrintReceived(std::ostream& out, const Style& style,
                   const std::vector<ReceivedExchange>& exchanges);

// "demo: 23 steps, 23 ok" or "demo: 23 steps, 21 ok, 2 failed (7, 12)".
std::string SummaryLine(const std::vector<StepRecord>& steps);

// "812 B", "9.1 kB".
std::string ByteSize(size_t bytes);

}  // namespace fedutil
