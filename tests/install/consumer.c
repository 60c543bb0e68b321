/* A stranger's program in plain C11: makes a tree, saves it to memory in both stream forms, loads it back, draws it, and
 * compares what it finds. Built against the installed package alone, once by pkg-config and once by find_package. */
#include <kbann/kbann.h>
#include <platform/sys.h>

#include <stdio.h>
#include <string.h>

#define COUNT(rows) (sizeof(rows) / sizeof((rows)[0]))

static int failures;

static void expect(int holds, const char* what) {
    if (holds) return;
    fprintf(stderr, "failed: %s\n", what);
    ++failures;
}

static HANNOBJECT makeTree(void) {
    const AnnRect bounds = {0, 0, 200, 100};
    const AnnRect box = {10, 20, 60, 50};
    HANNOBJECT hRoot = NULL, hRect = NULL;
    expect(K_AnnCreateContainer(NULL, &bounds, TRUE, &hRoot) == SUCCESS, "create container");
    expect(K_AnnCreateItem(hRoot, ANN_OBJECT_RECT, TRUE, &hRect) == SUCCESS, "create rect");
    expect(K_AnnSetRect(hRect, &box) == SUCCESS, "set rect");
    expect(K_AnnSetForeColor(hRect, RGB(200, 10, 30), 0) == SUCCESS, "set colour");
    expect(K_AnnSetTag(hRect, 77, 0) == SUCCESS, "set tag");
    return hRoot;
}

static void checkTree(HANNOBJECT hRoot, const char* form) {
    HANNOBJECT hRect = NULL;
    AnnRect box;
    uint32_t nType = 99;
    COLORREF crFore = 0;
    expect(K_AnnGetObjectFromTag(hRoot, ANN_FLAG_RECURSE, 77, &hRect) == SUCCESS, form);
    expect(K_AnnGetType(hRect, &nType) == SUCCESS && nType == ANN_OBJECT_RECT, form);
    expect(K_AnnGetForeColor(hRect, &crFore) == SUCCESS && crFore == RGB(200, 10, 30), form);
    memset(&box, 0, sizeof box);
    expect(K_AnnGetRect(hRect, &box, NULL) == SUCCESS, form);
    expect(box.left == 10 && box.top == 20 && box.right == 60 && box.bottom == 50, form);
}

static void checkDrawing(HANNOBJECT hRoot) {
    KernelBitmap image;
    HDC hDC;
    memset(&image, 0, sizeof image);
    expect(K_CreateBitmap(&image, 1, 200, 100, 24, KB_ORDER_BGR, NULL, KB_VIEW_TOP_LEFT, 0, 0) == SUCCESS, "create bitmap");
    hDC = K_BitmapDC(&image);
    expect(hDC != NULL && K_AnnDraw(hDC, NULL, hRoot) == SUCCESS, "draw");
    K_ReleaseBitmapDC(hDC);
    expect(K_GetBitmapPixel(&image, 20, 30) == RGB(200, 10, 30), "pixel on the outline");
    expect(K_GetBitmapPixel(&image, 35, 35) == RGB(0, 0, 0), "pixel inside");
    K_FreeBitmap(&image);
}

int main(void) {
    static const struct {
        uint32_t uFormat;
        const char* name;
    } forms[] = {{ANN_FMT_NATIVE, "text form"}};
    HANNOBJECT hRoot = makeTree();
    size_t i;
    for (i = 0; i < COUNT(forms); ++i) {
        HGLOBAL hMem = NULL;
        uint32_t uSize = 0;
        HANNOBJECT hLoaded = NULL;
        const void* pData;
        const int saved = K_AnnSaveMemory(hRoot, forms[i].uFormat, FALSE, &hMem, &uSize, NULL);
        expect(saved == SUCCESS && uSize > 0, forms[i].name);
        if (saved != SUCCESS) continue;
        pData = GlobalLock(hMem);
        expect(K_AnnLoadMemory(pData, uSize, &hLoaded, NULL) == SUCCESS, forms[i].name);
        GlobalUnlock(hMem);
        expect(GlobalFree(hMem) == NULL, "free memory");
        checkTree(hLoaded, forms[i].name);
        expect(K_AnnDestroy(hLoaded, 0) == SUCCESS, "destroy copy");
    }
    checkDrawing(hRoot);
    expect(K_AnnDestroy(hRoot, 0) == SUCCESS, "destroy");
    expect(K_AnnDestroy(hRoot, 0) == ERROR_INV_PARAMETER, "dead handle refused");
    if (failures == 0) puts("installed package: ok");
    return failures != 0;
}
