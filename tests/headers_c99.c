/* Every public header compiles as strict C99, alone and together, and a C
 * program can negate a bitmap through them. */
#include "libimg.h"
#include "libimge.h"
#include "libformat.h"
#include "libtools.h"

#include <stddef.h>

/* Layout checks visible to C compilers as well. */
typedef char check_img_bitmap[offsetof(IMG_BITMAP, ColorUsed) == 32 ? 1 : -1];
typedef char check_imf_bitmap[offsetof(IMF_BITMAP, ColorUsed) == 32 ? 1 : -1];
typedef char check_colormap[sizeof(IMF_COLORMAP) == 1028 ? 1 : -1];
typedef char check_sizes[sizeof(IMG_BITMAP) == sizeof(IMF_BITMAP) ? 1 : -1];

int main(void) {
    IMG_BITMAP *b = imgCreateBitmap(IMG_RGB, 3, 2);
    IMG_BITMAP *copy = NULL;
    int ok;
    if (!b) return 1;
    b->Data[0] = 10;
    if (imgNegative(b, &copy) != IMG_NO_ERROR || !copy) return 2;
    ok = copy->Data[0] == 245 && copy->Data[1] == 255 && b->Data[0] == 10;
    imgFreeBitmap(copy);
    imgFreeBitmap(b);
    return ok ? 0 : 3;
}
