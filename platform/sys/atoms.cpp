// The atom table: texts under 16-bit numbers from 0xC000, compared without regard to case, counted by their uses.
#include "platform/sys/state.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace {

constexpr ATOM firstAtom = 0xC000;

bool sameText(std::string_view a, std::string_view b) {
    const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
    return std::ranges::equal(a, b, {}, lower, lower);
}

ATOM findAtom(const kb::SysState& state, std::string_view text) {
    for (const auto& [atom, entry] : state.atoms)
        if (sameText(entry.text, text)) return atom;
    return 0;
}

} // namespace

extern "C" {

ATOM AddAtomA(const char* pszText) {
    if (!pszText || !*pszText || std::strlen(pszText) > 255) return 0;
    auto& state = kb::sysState();
    const std::lock_guard lock(state.mutex);
    try {
        ATOM atom = findAtom(state, pszText);
        if (!atom) {
            atom = firstAtom;
            while (state.atoms.contains(atom))
                if (++atom == 0) return 0;
            std::string text(pszText); // copied before the entry is made
            state.atoms[atom].text = std::move(text);
        }
        ++state.atoms[atom].uses;
        return atom;
    } catch (const std::bad_alloc&) {
        return 0;
    }
}

ATOM DeleteAtom(ATOM atom) {
    auto& state = kb::sysState();
    const std::lock_guard lock(state.mutex);
    const auto found = state.atoms.find(atom);
    if (found == state.atoms.end()) return atom;
    if (--found->second.uses == 0) state.atoms.erase(found);
    return 0;
}

ATOM FindAtomA(const char* pszText) {
    if (!pszText) return 0;
    auto& state = kb::sysState();
    const std::lock_guard lock(state.mutex);
    return findAtom(state, pszText);
}

UINT GetAtomNameA(ATOM atom, char* pszText, int size) {
    if (!pszText || size <= 0) return 0;
    auto& state = kb::sysState();
    const std::lock_guard lock(state.mutex);
    const auto found = state.atoms.find(atom);
    if (found == state.atoms.end()) return 0;
    const size_t length = std::min(found->second.text.size(), static_cast<size_t>(size) - 1);
    std::memcpy(pszText, found->second.text.data(), length);
    pszText[length] = 0;
    return static_cast<UINT>(length);
}

} // extern "C"
