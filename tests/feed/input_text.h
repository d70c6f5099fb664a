// Texts as inputs, and the error with which one is refused.
#pragma once

#include "feed/failure.h"
#include "sim/base/file_descriptor.h"

#include <cstdio>
#include <string>
#include <sys/mman.h>
#include <unistd.h>
#include <utility>

namespace feed {

// A file that holds the text and is read from its start.
inline sim::file_descriptor file_with(const std::string &text) {
    sim::file_descriptor file(memfd_create("text", MFD_CLOEXEC));
    std::size_t written = 0;
    while (written < text.size()) {
        const ssize_t count = ::write(file.get(), text.data() + written, text.size() - written);
        if (count <= 0) {
            throw input_error("the test's text could not be written");
        }
        written += static_cast<std::size_t>(count);
    }
    ::lseek(file.get(), 0, SEEK_SET);
    return file;
}

template <typename Action>
std::string error_of(Action &&action) {
    try {
        std::forward<Action>(action)();
    } catch (const input_error &error) {
        return error.what();
    }
    return "(no error)";
}

} // namespace feed
