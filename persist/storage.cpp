// The places that stored data lies in, and the choice of a form. Every path here ends in a stream and one of two
// functions, annSaveToStream and annLoadFromStream; the rest is opening, locking and giving back.
#include "persist/storage.h"
#include "contracts/raster_kernel.h"
#include "kbann/constants.h"
#include "persist/metafile_form.h"
#include "persist/recognition.h"
#include "persist/wang_form.h"
#include "store/file_operations.h"
#include "store/geometry.h"
#include "store/handles.h"

#include <algorithm>

namespace kbann {
namespace {

constexpr int openRead = 0x8000, openUpdate = 0x8002, openCreate = 0x8302; // binary; read and write; create, truncate
constexpr int modeRead = 0x100, modeWrite = 0x80;
constexpr uint16_t tagTypeBytes = 1;
constexpr uint16_t widthTag = 256, heightTag = 257;
constexpr uint32_t infoRecordBytes = 24;

// The stream's own numbers don't depend on a locale; what the host hangs on its switch does.
struct NeutralLocale {
    NeutralLocale() { KbSetLocale("C"); }
    ~NeutralLocale() { KbSetLocale(""); }
    NeutralLocale(const NeutralLocale&) = delete;
    NeutralLocale& operator=(const NeutralLocale&) = delete;
};

struct OpenFile {
    int file;
    OpenFile(const char* pszFile, int flags, int mode) : file(ioOpen(pszFile, flags, mode)) {}
    ~OpenFile() { close(); }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;
    bool isOpen() const { return file >= 0; }
    void close() {
        if (isOpen()) ioClose(file);
        file = -1;
    }
};

bool isTiff(const void* data) {
    const auto* bytes = static_cast<const char*>(data);
    return bytes[0] == bytes[1] && (bytes[0] == 'I' || bytes[0] == 'M');
}

bool isFileForm(uint32_t uFormat) {
    return uFormat == ANN_FMT_NATIVE || uFormat == ANN_FMT_WMF || uFormat == ANN_FMT_ENCODED;
}

bool isWangForm(uint32_t uFormat) { return uFormat == ANN_FMT_TIFFTAG || uFormat == ANN_FMT_WANGTAG; }

int32_t pageOf(const KernelLoadOptions* pOptions) { return pOptions && pOptions->nPageNumber ? pOptions->nPageNumber : 1; }

// Cuts a written block to its data and gives its handle, unlocked once.
HGLOBAL closeBlock(AnnStream& stream, uint32_t* puSize) {
    if (void* cut = K_ReallocBlock(stream.pBlock, stream.uEnd)) stream.pBlock = cut;
    if (puSize) *puSize = static_cast<uint32_t>(stream.uEnd);
    HGLOBAL hMem = GlobalHandle(stream.pBlock);
    GlobalUnlock(hMem);
    return hMem;
}

// A side of an image from its TIFF tag; 0 when it can't be told.
double sideTag(const char* pszFile, uint16_t tag, const KernelLoadOptions* pOptions) {
    constexpr uint16_t shortType = 3, longType = 4, signedShortType = 8, signedLongType = 9;
    uint16_t type = 0;
    uint32_t count = 0, value = 0;
    const int size = K_GetFileTag(pszFile, tag, &type, &count, nullptr, pOptions);
    if (size < 1 || static_cast<size_t>(size) > sizeof value) return 0;
    if (K_GetFileTag(pszFile, tag, &type, &count, &value, pOptions) != size) return 0;
    if (type == shortType || type == signedShortType) return value & 0xFFFF;
    return type == longType || type == signedLongType ? value : 0;
}

int loadImageTag(const char* pszFile, HANNOBJECT* phObject, const KernelLoadOptions* pOptions) {
    uint16_t type = 0;
    uint32_t count = 0;
    if (K_GetFileTag(pszFile, ANN_TAG_TIFF, &type, &count, nullptr, pOptions) < 1) {
        *phObject = nullptr; // an image without annotations
        return SUCCESS;
    }
    HGLOBAL hTag = nullptr;
    const int size = K_LoadFileTag(pszFile, ANN_TAG_TIFF, &type, &count, &hTag, pOptions);
    if (!hTag) return size;
    AnnStream stream = annMemoryStream(GlobalLock(hTag), static_cast<uint64_t>(size));
    const WangImage image{sideTag(pszFile, widthTag, pOptions), sideTag(pszFile, heightTag, pOptions)};
    const int code = annLoadFromStream(stream, phObject, pOptions, image);
    GlobalFree(hTag);
    return code;
}

int readTextPage(AnnStream& stream, const TextPage& found, AnnObject*& root) {
    if (!annSeekTo(stream, found.start)) return ERROR_FILE_SEEK;
    TextReader reader(stream);
    return annReadTree(reader, root, 0);
}

// onlyPage: where the page stands in data without links.
int readCodedPage(AnnStream& stream, uint32_t version, uint64_t onlyPage, const PageChain& chain, AnnObject*& root) {
    if (version == versionOnePage) {
        if (!annSeekTo(stream, onlyPage)) return ERROR_FILE_SEEK;
    } else if (const int code = annSeekCodedPage(stream, chain); code != SUCCESS) {
        return code;
    }
    CodedReader reader(stream);
    return annReadTree(reader, root, 0);
}

// Marks and pictures have no pages: the options don't count for them.
int saveForm(AnnStream& stream, AnnObject& object, const SaveRequest& request) {
    if (request.uFormat == ANN_FMT_WMF) return annSaveWmf(stream, object, request.filter);
    if (isWangForm(request.uFormat))
        return annWangWriteTree(stream, object, request.filter, request.uFormat == ANN_FMT_WANGTAG);
    return annSaveToStream(stream, object, request.uFormat, request.filter, request.pOptions);
}

bool isInfoRequest(const AnnFileInfoRecord* pInfo) {
    return pInfo && pInfo->uStructSize == infoRecordBytes && pInfo->nOffset >= 0;
}

} // namespace

int annSaveToStream(AnnStream& stream, const AnnObject& object, uint32_t uFormat, const WriteFilter& filter,
                    const KernelSaveOptions* pOptions) {
    const uint32_t flags = pOptions ? pOptions->uFlags : 0;
    if (flags && flags != SAVE_REPLACEPAGE && flags != SAVE_INSERTPAGE) return ERROR_INV_PARAMETER;

    const NeutralLocale locale;
    const bool coded = uFormat == ANN_FMT_ENCODED;
    const auto writeWhole = coded ? annWriteCodedData : annWriteTextData;
    if (!flags) return writeWhole(stream, object, filter);
    AnnFileInfoRecord info{};
    StoredPage found;
    const bool holdsData = annQueryInfo(stream, info, pOptions->nPageNumber, &found) == SUCCESS;
    const bool insert = flags == SAVE_INSERTPAGE;
    const int64_t pages = holdsData ? info.nTotalPages : 0;
    int64_t page = pOptions->nPageNumber;
    if (page < 1 && page != -1) return ERROR_PAGE_NOT_FOUND;
    if (page > pages + (insert || !holdsData)) return ERROR_PAGE_NOT_FOUND;
    if (!holdsData) return writeWhole(stream, object, filter);
    if (info.nFormat != uFormat) return ERROR_INV_PARAMETER;
    if (page == -1) page = pages + 1;
    const bool adds = insert || page > pages;
    if (!coded) return annWriteTextPage(stream, object, filter, insert ? RoomMode::insert : RoomMode::replace, found.text);
    // A page that is replaced stays in the data until links lead to the new one; without links it can't.
    if (!adds && info.nVersion == versionOnePage) return writeWhole(stream, object, filter);
    if (info.nVersion == versionOnePage) {
        if (const int code = annMakeCodedPaged(stream, object, filter); code != SUCCESS) return code;
        if (const int code = annWalkChain(stream, static_cast<uint32_t>(page), found.chain, 0); code != SUCCESS) return code;
    }
    return annWriteCodedPage(stream, object, filter, found.chain, adds ? SAVE_INSERTPAGE : SAVE_REPLACEPAGE);
}

int annLoadFromStream(AnnStream& stream, HANNOBJECT* phObject, const KernelLoadOptions* pOptions, const WangImage& image) {
    const NeutralLocale locale;
    uint32_t nFormat = 0;
    bool bPaged = false;
    if (const int code = annQueryFormat(stream, nFormat, bPaged); code != SUCCESS) return code;
    if (nFormat == ANN_FMT_WANGTAG) {
        AnnObject* root = nullptr;
        if (const int code = annWangReadStream(stream, root, image); code != SUCCESS) return code;
        if (root) annComputeGeometry(*root);
        *phObject = annToHandle(root);
        return SUCCESS;
    }
    const uint64_t firstPage = stream.uPos;
    const int32_t page = pageOf(pOptions);
    AnnFileInfoRecord info{};
    StoredPage found;
    if (const int code = annQueryInfo(stream, info, page, &found); code != SUCCESS) return code;
    if (info.nFormat != nFormat) return ERROR_FILE_FORMAT;
    if (page < 1 || static_cast<uint32_t>(page) > info.nTotalPages) return ERROR_PAGE_NOT_FOUND;
    AnnObject* root = nullptr;
    const int code = nFormat == ANN_FMT_ENCODED ? readCodedPage(stream, info.nVersion, firstPage, found.chain, root)
                                                : readTextPage(stream, found.text, root);
    if (code != SUCCESS) return code;
    annComputeGeometry(*root);
    *phObject = annToHandle(root);
    return SUCCESS;
}

int annDeletePage(AnnStream& stream, int32_t nPage) {
    const NeutralLocale locale;
    AnnFileInfoRecord info{};
    StoredPage found;
    if (const int code = annQueryInfo(stream, info, nPage, &found); code != SUCCESS) return code;
    if (info.nVersion == versionOnePage || info.nTotalPages == 1) return ERROR_DELETE_LAST_PAGE;
    if (nPage < 1 || static_cast<uint32_t>(nPage) > info.nTotalPages) return ERROR_PAGE_NOT_FOUND;
    if (info.nFormat == ANN_FMT_ENCODED) return annUnlinkPage(stream, found.chain);
    uint64_t room = 0;
    return annMakeTextRoom(stream, RoomMode::remove, found.text, 0, room);
}

int annSaveFile(const char* pszFile, const SaveRequest& request) {
    if (!pszFile) return ERROR_INV_PARAMETER;
    int file = ioOpen(pszFile, openUpdate, modeWrite);
    if (file < 0 && GetLastError() == ERROR_FILE_MISSING) {
        file = ioOpen(pszFile, openCreate, modeWrite);
        if (file < 0) return ERROR_FILE_OPEN;
    }
    // A file that is there and can't be opened shows as a seek that fails.
    const int code = annSaveOffset(file, 0, nullptr, request);
    if (file >= 0) ioClose(file);
    return code;
}

int annSaveOffset(int file, int32_t nOffset, uint32_t* puBytesWritten, const SaveRequest& request) {
    AnnObject* object = annFromHandle(request.hObject);
    if (!object || !isFileForm(request.uFormat)) return ERROR_INV_PARAMETER;
    if (ioSeek(file, nOffset, 0) < 0) return ERROR_FILE_SEEK;
    AnnStream stream = annFileStream(file, nOffset, UINT32_MAX);
    const int code = saveForm(stream, *object, request);
    if (code == SUCCESS && puBytesWritten)
        *puBytesWritten = static_cast<uint32_t>(stream.uPos - static_cast<uint64_t>(nOffset));
    return code;
}

int annSaveMemory(HGLOBAL* phMem, uint32_t* puSize, const SaveRequest& request) {
    AnnObject* object = annFromHandle(request.hObject);
    if (!object || !phMem || request.uFormat > ANN_FMT_ENCODED) return ERROR_INV_PARAMETER;
    void* pBlock = nullptr;
    if (*phMem) {
        pBlock = GlobalLock(*phMem);
        if (!pBlock) return ERROR_INV_PARAMETER;
    } else if (puSize) {
        *puSize = 0;
    }
    AnnStream stream = annMemoryStream(pBlock, pBlock ? GlobalSize(*phMem) : 0);
    const int code = saveForm(stream, *object, request);
    if (code == wangNothing) {
        if (*phMem) GlobalUnlock(*phMem);
        return SUCCESS;
    }
    if (code == SUCCESS) {
        *phMem = closeBlock(stream, puSize);
    } else if (stream.pBlock) {
        K_FreeBlock(stream.pBlock);
    }
    return code;
}

int annSaveTag(const SaveRequest& request) {
    HGLOBAL hMem = nullptr;
    uint32_t size = 0;
    if (const int code = annSaveMemory(&hMem, &size, request); code != SUCCESS) return code;
    const void* data = hMem ? GlobalLock(hMem) : nullptr;
    const int code = data ? K_SetFileTag(ANN_TAG_TIFF, tagTypeBytes, size, data) : ERROR_NO_MEMORY;
    if (hMem) GlobalFree(hMem);
    return code;
}

int annLoadFile(const char* pszFile, HANNOBJECT* phObject, const KernelLoadOptions* pOptions) {
    if (!pszFile || !phObject) return ERROR_INV_PARAMETER;
    OpenFile opened(pszFile, openRead, modeRead);
    if (!opened.isOpen()) return ERROR_FILE_OPEN;
    char first[2];
    if (ioRead(opened.file, first, sizeof first) != sizeof first) return ERROR_FILE_READ;
    if (!isTiff(first)) return annLoadOffset(opened.file, 0, UINT32_MAX, phObject, pOptions);
    opened.close();
    return loadImageTag(pszFile, phObject, pOptions);
}

int annLoadOffset(int file, int32_t nOffset, uint32_t uLength, HANNOBJECT* phObject, const KernelLoadOptions* pOptions) {
    if (!phObject) return ERROR_INV_PARAMETER;
    if (nOffset < 0 || ioSeek(file, nOffset, 0) != nOffset) return ERROR_FILE_SEEK;
    AnnStream stream = annFileStream(file, nOffset, uLength);
    return annLoadFromStream(stream, phObject, pOptions);
}

int annLoadMemory(const void* pData, uint32_t uSize, HANNOBJECT* phObject, const KernelLoadOptions* pOptions) {
    if (!pData || !phObject) return ERROR_INV_PARAMETER;
    if (uSize >= 2 && isTiff(pData)) {
        KernelMemoryFile context{};
        if (const int code = K_BeginMemoryFile(&context, pData, uSize); code != SUCCESS) return code;
        return K_EndMemoryFile(&context, 0, 0, annLoadFile("DUMMY", phObject, pOptions));
    }
    AnnStream stream = annMemoryStream(const_cast<void*>(pData), uSize);
    return annLoadFromStream(stream, phObject, pOptions);
}

int annFileInfoFile(const char* pszFile, AnnFileInfoRecord* pInfo) {
    if (!pszFile || !isInfoRequest(pInfo)) return ERROR_INV_PARAMETER;
    const OpenFile opened(pszFile, openRead, modeRead);
    if (!opened.isOpen()) return ERROR_FILE_OPEN;
    const NeutralLocale locale;
    AnnStream stream = annFileStream(opened.file, pInfo->nOffset, UINT32_MAX);
    return annQueryInfo(stream, *pInfo);
}

int annFileInfoMemory(const void* pData, uint32_t uSize, AnnFileInfoRecord* pInfo) {
    if (!pData || !isInfoRequest(pInfo)) return ERROR_INV_PARAMETER;
    AnnStream stream = annMemoryStream(const_cast<void*>(pData), uSize);
    return annQueryInfo(stream, *pInfo);
}

int annDeletePageFile(const char* pszFile, int32_t nPage) {
    if (!pszFile) return ERROR_INV_PARAMETER;
    const OpenFile opened(pszFile, openUpdate, modeWrite);
    if (!opened.isOpen()) return ERROR_FILE_OPEN;
    AnnStream stream = annFileStream(opened.file, 0, UINT32_MAX);
    return annDeletePage(stream, nPage);
}

int annDeletePageMemory(HGLOBAL hMem, uint32_t* puSize, int32_t nPage) {
    void* pBlock = hMem ? GlobalLock(hMem) : nullptr;
    if (!pBlock) return ERROR_INV_PARAMETER;
    AnnStream stream = annMemoryStream(pBlock, GlobalSize(hMem));
    const int code = annDeletePage(stream, nPage);
    if (code == SUCCESS) {
        closeBlock(stream, puSize);
    } else {
        K_FreeBlock(stream.pBlock);
    }
    return code;
}

} // namespace kbann
