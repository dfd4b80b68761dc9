// What a call prints on standard output.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <string>

namespace ulmaro::test {

template <class Call>
std::string printed_by(Call&& call) {
    static const int file = memfd_create("printed", 0);
    std::fflush(stdout);
    const int before = dup(STDOUT_FILENO);
    dup2(file, STDOUT_FILENO);
    call();
    std::fflush(stdout);
    dup2(before, STDOUT_FILENO);
    close(before);
    std::string text(static_cast<std::size_t>(lseek(file, 0, SEEK_END)), 0);
    if (pread(file, text.data(), text.size(), 0) < 0 || ftruncate(file, 0) != 0) text = "cannot be read";
    lseek(file, 0, SEEK_SET);
    return text;
}

}  // namespace ulmaro::test
