#include "ConsoleCapture.h"

#include <unistd.h>

#include <iostream>

namespace fedutil {

ConsoleCapture::ConsoleCapture() {
    std::cout.flush();
    std::fflush(stdout);
    file_ = std::tmpfile();
    if (file_ == nullptr) {
        return;  // nothing captured; the lines then reach standard output
    }
    saved_stdout_ = dup(STDOUT_FILENO);
    if (saved_stdout_ < 0 || dup2(fileno(file_), STDOUT_FILENO) < 0) {
        if (saved_stdout_ >= 0) {
            close(saved_stdout_);
            saved_stdout_ = -1;
        }
        std::fclose(file_);
        file_ = nullptr;
    }
}

ConsoleCapture::~ConsoleCapture() {
    Restore();
    if (file_ != nullptr) {
        std::fclose(file_);
    }
}

void ConsoleCapture::Restore() {
    if (saved_stdout_ < 0) {
        return;
    }
    std::cout.flush();
    std::fflush(stdout);
    dup2(saved_stdout_, STDOUT_FILENO);
    close(saved_stdout_);
    saved_stdout_ = -1;
}

std::vector<std::string> ConsoleCapture::Finish() {
    Restore();
    std::vector<std::string> lines;
    if (file_ == nullptr) {
        return lines;
    }
    std::rewind(file_);
    std::string line;
    for (int c = std::fgetc(file_);; c = std::fgetc(file_)) {
        if (c == EOF || c == '\n') {
            if (!line.empty()) {
                lines.push_back(line);
            }
            line.clear();
            if (c == EOF) {
                break;
            }
        } else if (c != '\r') {
            line += static_cast<char>(c);
        }
    }
    std::fclose(file_);
    file_ = nullptr;
    return lines;
}

}  // namespace fedutil
