// Each character is a list of chains, separated by blanks; a point is two digits, x from 0 to 4 and y from 0, the top of
// capitals, over 6, the base line, to 8. Letters with accents show their base letter, other characters above 127 a box.
#include "platform/gdi/stroke_font.h"

#include <array>
#include <string_view>

namespace kb::gdi {

namespace {

using namespace std::string_view_literals;

constexpr std::array<std::string_view, 95> shapes{
    ""sv, "2024 2626"sv, "1012 3032"sv, "1016 3036 0242 0444"sv, "413010010213334445361605 2026"sv,
    "4006 0010110100 3545463635"sv, "4602011021120405162644"sv, "2022"sv, "30111536"sv, "10313516"sv, "2125 0244 0442"sv,
    "2125 0343"sv, "2517"sv, "0343"sv, "2626"sv, "0640"sv,
    // digits
    "103041453616050110"sv, "112026 1636"sv, "01103041420646"sv, "004022324345361605"sv, "36300444"sv,
    "400002324345361605"sv, "413010010516364544331304"sv, "004016"sv, "103041423313020110 13040516364544 4433"sv,
    "051636454130100102133342"sv, "2222 2626"sv, "2222 2517"sv, "410345"sv, "0242 0444"sv, "014305"sv,
    "01103041422324 2626"sv, "3432121434454241301001051646"sv,
    // capitals
    "0602204246 0444"sv, "00063645443303 3342413000"sv, "4130100105163645"sv, "00062644422000"sv, "40000646 0333"sv,
    "400006 0333"sv, "41301001051636454323"sv, "0006 4046 0343"sv, "2026 1030 1636"sv, "4045361605"sv, "0006 400346"sv,
    "000646"sv, "0600234046"sv, "06004640"sv, "103041453616050110"sv, "06003041423303"sv, "103041453616050110 2446"sv,
    "06003041423303 2346"sv, "413010010213334445361605"sv, "0040 2026"sv, "000516364540"sv, "002640"sv, "0016233640"sv,
    "0046 4006"sv, "002340 2326"sv, "00400646"sv, "30101636"sv, "0046"sv, "10303616"sv, "022042"sv, "0747"sv, "1021"sv,
    // small letters
    "12324346 441405163645"sv, "0006 0312324345361605"sv, "4332120305163645"sv, "4046 4332120305163645"sv,
    "044443321203051636"sv, "40302126 1232"sv, "42473818 4332120305163645"sv, "0006 0312324346"sv, "2226 2020"sv,
    "32372818 3030"sv, "0006 420446"sv, "202536"sv, "0602 03122326 23324346"sv, "0602 0312324346"sv, "123243453616050312"sv,
    "0208 0312324345361605"sv, "4248 4332120305163645"sv, "0602 042232"sv, "43321203143445361605"sv, "20253646 0242"sv,
    "0205163645 4246"sv, "022642"sv, "0216233642"sv, "0246 4206"sv, "0226 4218"sv, "02420646"sv, "30212213242536"sv,
    "2027"sv, "10212233242516"sv, "03123443"sv};

constexpr std::string_view accented = "AAAAAAACEEEEIIIIDNOOOOOxOUUUUYPsaaaaaaaceeeeiiiidnooooo/ouuuuypy"sv;
static_assert(accented.size() == 64);
constexpr std::string_view box = "0040460600"sv;

std::string_view shapeOf(uint8_t c) {
    if (c >= 0xC0) c = static_cast<uint8_t>(accented[c - 0xC0u]);
    switch (c) {
    case 0xA0: return {};
    case 0x82:
    case 0x91:
    case 0x92: c = '\''; break;
    case 0x84:
    case 0x93:
    case 0x94: c = '"'; break;
    case 0x96:
    case 0x97:
    case 0xAD: c = '-'; break;
    case 0xB0: return "1030321210"sv; // degree
    case 0xB7: c = '.'; break;
    default: break;
    }
    if (c < 32) return {};
    return c < 127 ? shapes[c - 32u] : box;
}

} // namespace

void strokesOf(uint8_t c, std::vector<StrokeLine>& out) {
    out.clear();
    const std::string_view shape = shapeOf(c);
    bool begun = false;
    FPoint last{};
    for (size_t i = 0; i + 1 < shape.size();) {
        if (shape[i] == ' ') {
            begun = false;
            ++i;
            continue;
        }
        const FPoint p{static_cast<double>(shape[i] - '0'), static_cast<double>(shape[i + 1] - '0' - 6)};
        if (begun) out.push_back({last, p});
        last = p;
        begun = true;
        i += 2;
    }
}

} // namespace kb::gdi
