#include "cases.hpp"

#include <algorithm>
#include <map>
#include <string_view>

namespace bench {
namespace {

std::size_t largest() { return std::max(sizes().back(), message_sizes[std::size(message_sizes) - 1]); }

std::string size_name(std::size_t size) {
    if (size >= 1 << 20) return std::to_string(size >> 20) + "MiB";
    if (size >= 1 << 10) return std::to_string(size >> 10) + "KiB";
    return std::to_string(size) + "B";
}

}  // namespace

bool Case::passes() {
    if (checked) return true;
    work();
    return checked = ok();
}

std::vector<Case>& cases() {
    static std::vector<Case> all;
    return all;
}

std::vector<std::pair<std::string, std::string>>& notes() {
    static std::vector<std::pair<std::string, std::string>> all;
    return all;
}

void add(const std::string& operation, std::size_t size, const std::string& implementation, Work work, Check ok) {
    cases().push_back({size == 0 ? operation : operation + "/" + size_name(size), implementation, size, std::move(work),
                       std::move(ok)});
}

void add(const std::string& operation, std::size_t size, const std::string& implementation, Work work,
         std::size_t result) {
    // The first to run sets the result that the others must give.
    static std::map<std::string, std::size_t> results;
    add(operation, size, implementation, std::move(work), [key = operation + "/" + size_name(size), result] {
        const std::string_view bytes(reinterpret_cast<const char*>(output(result)), result);
        const std::size_t hash = std::hash<std::string_view>()(bytes);
        return results.emplace(key, hash).first->second == hash;
    });
}

const unsigned char* input(std::size_t size) {
    static const std::vector<unsigned char> bytes = [] {
        std::vector<unsigned char> filled(largest());
        unsigned x = 1;
        for (unsigned char& byte : filled) byte = static_cast<unsigned char>((x = x * 1103515245 + 12345) >> 16);
        return filled;
    }();
    return size <= bytes.size() ? bytes.data() : nullptr;
}

unsigned char* output(std::size_t size) {
    static std::vector<unsigned char> bytes(largest() + 256);
    return size <= bytes.size() ? bytes.data() : nullptr;
}

}  // namespace bench
