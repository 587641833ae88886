#include "ConsoleCapture.h"

#include <unistd.h>

#include <iostream>

namespace fedutil {

namespace {

void FlushStandardOutput() {
    std::cout.flush();
    std::fflush(stdout);
}

}  // namespace

ConsoleCapture::ConsoleCapture() {
    FlushStandardOutput();
    file_ = std::tmpfile();
    saved_stdout_ = file_ != nullptr ? dup(STDOUT_FILENO) : -1;
    // Without a file nothing is captured: the lines then reach standard output.
    if (saved_stdout_ >= 0 && dup2(fileno(file_), STDOUT_FILENO) < 0) {
        close(saved_stdout_);
        saved_stdout_ = -1;
    }
}

std::vector<std::string> ConsoleCapture::Finish() {
    std::vector<std::string> lines;
    if (saved_stdout_ >= 0) {
        FlushStandardOutput();
        dup2(saved_stdout_, STDOUT_FILENO);
        close(saved_stdout_);
        saved_stdout_ = -1;
        std::rewind(file_);
        std::string line;
        for (int c = std::fgetc(file_); c != EOF; c = std::fgetc(file_)) {
            if (c != '\n' && c != '\r') {
                line += static_cast<char>(c);
            } else if (c == '\n' && !line.empty()) {
                lines.push_back(std::move(line));
                line.clear();
            }
        }
        if (!line.empty()) {
            lines.push_back(std::move(line));
        }
    }
    if (file_ != nullptr) {
        std::fclose(file_);
        file_ = nullptr;
    }
    return lines;
}

}  // namespace fedutil
