// Words of the command line that stand for numbers of the library, counted from 0: lists separated by blanks.
#pragma once

#include <cstdint>
#include <string_view>

namespace kann {

inline constexpr std::string_view lengthUnits =
    "inches feet yards micrometers millimeters centimeters meters twips points pixels";
inline constexpr std::string_view angleUnits = "degrees radians";
inline constexpr std::string_view hitWords = "none body handle name";
// The predefined pictures: stamps, then the default of hotspots.
inline constexpr std::string_view predefinedPictures =
    "approved assigned checked clatprv copy draft extended fax faxed important invoice notice official onfile paid passed "
    "pending processed received rejected release sent shipped topsecret urgent void hotspot";

// The word of a number, "?" beyond the list.
constexpr std::string_view wordAt(std::string_view words, std::uint32_t number) {
    for (; !words.empty(); --number) {
        const std::size_t end = words.find(' ');
        if (number == 0) return words.substr(0, end);
        if (end == std::string_view::npos) break;
        words.remove_prefix(end + 1);
    }
    return "?";
}
static_assert(wordAt(predefinedPictures, 26) == "hotspot" && wordAt(lengthUnits, 9) == "pixels" &&
              wordAt(angleUnits, 2) == "?");

} // namespace kann
