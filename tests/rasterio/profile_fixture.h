// Colour profiles for tests: primaries of a usual display and a curve, with whatever names and notes are asked for.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace test {

inline std::string bigEndian(std::size_t value, int bytes = 4) {
    std::string text;
    for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) text += static_cast<char>(value >> shift);
    return text;
}

using ProfileTags = std::vector<std::pair<std::string, std::string>>;

// A version 2 profile of these tags, one behind the other.
inline std::string profileOf(const ProfileTags& tags, std::string_view samples) {
    std::string table = bigEndian(tags.size()), data;
    const std::size_t begin = 128 + 4 + 12 * tags.size();
    for (const auto& [name, value] : tags) {
        table += name + bigEndian(begin + data.size()) + bigEndian(value.size());
        data += value + std::string((4 - value.size() % 4) % 4, '\0');
    }
    std::string header = bigEndian(begin + data.size()) + "mine" + bigEndian(0x02400000) + "mntr";
    header += std::string(samples) + "XYZ " + std::string(12, '\7') + "acsp"; // a date that tells when
    header.resize(100, 'm');                                                  // a maker's words
    header.resize(128, '\0');
    return header + table + data;
}

inline std::string pointTag(std::size_t x, std::size_t y, std::size_t z) {
    return "XYZ " + bigEndian(0) + bigEndian(x) + bigEndian(y) + bigEndian(z);
}

inline std::string curveTag(const std::vector<int>& values) {
    std::string tag = "curv" + bigEndian(0) + bigEndian(values.size());
    for (const int value : values) tag += bigEndian(static_cast<std::size_t>(value), 2);
    return tag;
}

// What a profile needs; `more` goes behind it.
inline std::string usualProfile(bool isGrey, const ProfileTags& more = {}) {
    const std::string curve = curveTag({0, 9000, 30000, 65535});
    ProfileTags tags{{"wtpt", pointTag(0xF6D6, 0x10000, 0xD32D)}};
    if (isGrey) {
        tags.emplace_back("kTRC", curve);
    } else {
        tags.insert(tags.end(), {{"rXYZ", pointTag(0x6FA2, 0x38F5, 0x390)},
                                 {"gXYZ", pointTag(0x6299, 0xB785, 0x18DA)},
                                 {"bXYZ", pointTag(0x24A0, 0xF84, 0xB6CF)},
                                 {"rTRC", curve},
                                 {"gTRC", curve},
                                 {"bTRC", curve}});
    }
    tags.insert(tags.end(), more.begin(), more.end());
    return profileOf(tags, isGrey ? "GRAY" : "RGB ");
}

} // namespace test
