// Tags of TIFF files: the queue of a thread for its next save, and reading any tag of any page.
#include "rasterio/image_io.h"
#include "rasterio/tiff_directory.h"

#include "platform/sys.h"

#include <climits>
#include <new>

namespace {

thread_local std::vector<kb::TiffTagValue> tagQueue;

} // namespace

namespace kb {

const std::vector<TiffTagValue>& queuedTiffTags() { return tagQueue; }
void clearQueuedTiffTags() { tagQueue.clear(); }

} // namespace kb

using namespace kb;

namespace {

// Size of a tag's bytes, 0 when the page hasn't got it, or a code; with `values` the bytes too, from the same open file.
int readTag(const char* pszPath, uint16_t tag, uint16_t* pType, uint32_t* pCount, Bytes* values,
            const KernelLoadOptions* pOptions) {
    if (!pszPath) return ERROR_INV_PARAMETER;
    const int page = limitsOf(pOptions).page;
    FileStream stream(pszPath, 0);
    if (!stream.isOpen()) return ERROR_FILE_OPEN;
    try {
        TiffFile file(stream);
        if (const int result = file.open(); result != SUCCESS) return result;
        TiffDirectory directory;
        if (const int result = file.directory(page, &directory); result != SUCCESS) return result;
        const TiffEntry* entry = directory.find(tag);
        if (!entry) return 0;
        if (entry->bytes > INT_MAX || entry->count > UINT32_MAX || entry->valueAt > file.size() ||
            entry->bytes > file.size() - entry->valueAt) {
            return ERROR_FILE_READ;
        }
        if (values && !file.values(*entry, values)) return ERROR_FILE_READ;
        if (pType) *pType = entry->type;
        if (pCount) *pCount = static_cast<uint32_t>(entry->count);
        return static_cast<int>(entry->bytes);
    } catch (const std::bad_alloc&) {
        return ERROR_NO_MEMORY;
    }
}

} // namespace

extern "C" {

int K_SetFileTag(uint16_t tag, uint16_t type, uint32_t count, const void* pData) {
    try {
        if (!pData) {
            std::erase_if(tagQueue, [tag](const TiffTagValue& t) { return t.tag == tag; });
            return SUCCESS;
        }
        if (!tiffTypeBytes(type)) return ERROR_INV_PARAMETER;
        const auto* bytes = static_cast<const uint8_t*>(pData);
        TiffTagValue value{
            .tag = tag, .type = type, .count = count, .data = {bytes, bytes + size_t{count} * tiffTypeBytes(type)}};
        const auto same =
            std::find_if(tagQueue.begin(), tagQueue.end(), [tag](const TiffTagValue& t) { return t.tag == tag; });
        if (same != tagQueue.end())
            *same = std::move(value);
        else
            tagQueue.push_back(std::move(value));
        return SUCCESS;
    } catch (const std::bad_alloc&) {
        return ERROR_NO_MEMORY;
    }
}

int K_GetFileTag(const char* pszPath, uint16_t tag, uint16_t* pType, uint32_t* pCount, void* pBuffer,
                 const KernelLoadOptions* pOptions) {
    Bytes values;
    const int size = readTag(pszPath, tag, pType, pCount, pBuffer ? &values : nullptr, pOptions);
    if (size > 0 && pBuffer) std::memcpy(pBuffer, values.data(), values.size());
    return size;
}

int K_LoadFileTag(const char* pszPath, uint16_t tag, uint16_t* pType, uint32_t* pCount, HGLOBAL* phData,
                  const KernelLoadOptions* pOptions) {
    if (!phData) return ERROR_INV_PARAMETER;
    Bytes values;
    const int size = readTag(pszPath, tag, pType, pCount, &values, pOptions);
    if (size <= 0) return size;
    const HGLOBAL block = GlobalAlloc(GMEM_MOVEABLE, values.size());
    if (!block) return ERROR_NO_MEMORY;
    std::memcpy(GlobalLock(block), values.data(), values.size());
    GlobalUnlock(block);
    *phData = block;
    return size;
}

} // extern "C"
