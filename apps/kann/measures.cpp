// Lengths and angles come from the library; their texts are put together here as objects write them, since not every object
// gives its text away.
#include "apps/kann/measures.h"

#include "apps/kann/failure.h"
#include "apps/kann/object_facts.h"
#include "apps/kann/text_encoding.h"
#include "apps/kann/words.h"

#include <array>
#include <charconv>
#include <cmath>

namespace kann {

namespace {

using Json = nlohmann::ordered_json;

struct MeasuringType {
    std::uint32_t type;
    std::uint32_t pointsOfFirst, pointsOfSecond; // that the lengths need; 0: the type has no such length
    bool hasAngle;
};
constexpr auto measuringTypes = std::to_array<MeasuringType>({
    {ANN_OBJECT_RULER, 2, 0, false},
    {ANN_OBJECT_CROSSPRODUCT, 2, 5, false},
    {ANN_OBJECT_PROTRACTOR, 2, 3, true},
});
constexpr std::uint32_t pointsOfAngle = 3;

// Digits behind the point as told; no locale.
std::string fixedText(double value, std::uint32_t precision) {
    std::array<char, 1024> digits{}; // 309 digits, a point and 200 more at most
    const auto [end, error] = std::to_chars(digits.data(), digits.data() + digits.size(), value, std::chars_format::fixed,
                                            static_cast<int>(precision));
    return error == std::errc{} ? std::string(digits.data(), end) : "?";
}

Json quantity(double value, std::string_view unit, std::string text) {
    return {{"value", std::isfinite(value) ? Json(value) : Json()}, {"unit", unit}, {"text", std::move(text)}};
}

Json lengthsOf(HANNOBJECT object, const MeasuringType& type, std::uint32_t points, const std::string& file) {
    std::uint32_t unit = 0, precision = 0, abbreviationLength = 0;
    check(K_AnnGetUnitLen(object, &abbreviationLength), file);
    std::string abbreviation(std::size_t{abbreviationLength} + 1, '\0');
    check(K_AnnGetUnit(object, &unit, abbreviation.data(), &precision), file);
    abbreviation.resize(abbreviationLength);
    double first = 0, second = 0;
    check(K_AnnGetDistance(object, &first, &second), file);
    Json lengths = Json::array();
    const auto add = [&](double value) {
        lengths.push_back(quantity(value, wordAt(lengthUnits, unit & ~std::uint32_t{ANN_UNIT_DEF_ABBR}),
                                   fixedText(value, precision) + " " + toUtf8(abbreviation)));
    };
    if (points >= type.pointsOfFirst) add(first);
    if (type.pointsOfSecond != 0 && points >= type.pointsOfSecond) add(second);
    return lengths;
}

Json angleOf(HANNOBJECT object, const std::string& file) {
    std::uint32_t unit = 0, precision = 0, abbreviationLength = 0;
    check(K_AnnGetProtractorOptions(object, nullptr, nullptr, &abbreviationLength, nullptr, nullptr, nullptr), file);
    std::string abbreviation(std::size_t{abbreviationLength} + 1, '\0');
    check(K_AnnGetProtractorOptions(object, nullptr, &unit, nullptr, abbreviation.data(), &precision, nullptr), file);
    abbreviation.resize(abbreviationLength);
    double angle = 0;
    check(K_AnnGetAngle(object, &angle), file);
    return quantity(angle, wordAt(angleUnits, unit & ~std::uint32_t{ANN_ANGLE_DEF_ABBR}),
                    fixedText(angle, precision) + toUtf8(abbreviation));
}

} // namespace

Json measuresOf(HANNOBJECT object, const std::string& file) {
    const auto type = std::ranges::find(measuringTypes, typeOf(object), &MeasuringType::type);
    if (type == measuringTypes.end()) return {};
    std::uint32_t points = 0, show = 0;
    double dpiX = 0, dpiY = 0;
    check(K_AnnGetPointCount(object, &points), file);
    check(K_AnnGetShowFlags(object, &show), file);
    check(K_AnnGetBitmapDpiX(object, &dpiX), file);
    check(K_AnnGetBitmapDpiY(object, &dpiY), file);
    Json measures;
    measures["dpi"] = {dpiX, dpiY};
    // A protractor measures its arms only when it shows them.
    const bool idle = type->hasAngle && (show & ANN_SHOW_LENGTH) == 0;
    measures["lengths"] = idle ? Json::array() : lengthsOf(object, *type, points, file);
    if (type->hasAngle && points >= pointsOfAngle) measures["angle"] = angleOf(object, file);
    return measures;
}

std::string measuresText(const Json& measures) {
    std::string text = measures.contains("angle") ? measures["angle"]["text"].get<std::string>() : std::string();
    for (const Json& length : measures["lengths"]) {
        text.append(text.empty() ? "" : ", ").append(length["text"].get<std::string>());
    }
    return text.empty() ? "nothing measured" : text;
}

} // namespace kann
