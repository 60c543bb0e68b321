// Modules and the resources linked into them. A resource handle is the address of its table row, which lives as long as
// the module; a loaded resource is that row again, so nothing is copied.
#include "platform/sys/state.h"

#include <new>

namespace {

kb::Module* findModule(HMODULE hModule) { return kb::sysState().modules.find(kb::handleValue(hModule)); }

} // namespace

extern "C" {

HMODULE KbRegisterModule(const char* pszName, const KbResourceEntry* pEntries, UINT count) {
    auto& state = kb::sysState();
    try {
        auto module = std::make_unique<kb::Module>(kb::Module{pszName ? pszName : "", pEntries, count});
        const std::lock_guard lock(state.mutex);
        state.moduleHandles.reserve(state.moduleHandles.size() + 1);
        const uint32_t handle = state.modules.add(module.get());
        if (!handle) return nullptr;
        module.release();
        state.moduleHandles.push_back(handle);
        return kb::toHandle<HMODULE>(handle);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

BOOL KbUnregisterModule(HMODULE hModule) {
    auto& state = kb::sysState();
    const std::lock_guard lock(state.mutex);
    auto* module = state.modules.remove(kb::handleValue(hModule));
    if (!module) return FALSE;
    std::erase(state.moduleHandles, kb::handleValue(hModule));
    delete module;
    return TRUE;
}

HMODULE GetModuleHandleA(const char* pszName) {
    static const HMODULE program = KbRegisterModule("", nullptr, 0);
    if (!pszName) return program;
    auto& state = kb::sysState();
    const std::lock_guard lock(state.mutex);
    for (const uint32_t handle : state.moduleHandles)
        if (const auto* module = state.modules.find(handle); module && module->name == pszName)
            return kb::toHandle<HMODULE>(handle);
    return nullptr;
}

HRSRC FindResourceA(HMODULE hModule, UINT id, UINT type) {
    const auto* module = findModule(hModule);
    if (!module) return nullptr;
    for (size_t i = 0; i < module->count; ++i)
        if (const auto& entry = module->entries[i]; entry.uId == id && entry.uType == type)
            return reinterpret_cast<HRSRC>(const_cast<KbResourceEntry*>(&entry));
    return nullptr;
}

HGLOBAL LoadResource(HMODULE, HRSRC hResource) { return reinterpret_cast<HGLOBAL>(hResource); }

const void* LockResource(HGLOBAL hLoaded) {
    return hLoaded ? reinterpret_cast<const KbResourceEntry*>(hLoaded)->pData : nullptr;
}

DWORD SizeofResource(HMODULE, HRSRC hResource) {
    return hResource ? reinterpret_cast<const KbResourceEntry*>(hResource)->uSize : 0;
}

BOOL DisableThreadLibraryCalls(HMODULE hModule) { return findModule(hModule) != nullptr; }

} // extern "C"
