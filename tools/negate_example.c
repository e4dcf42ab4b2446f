/* Makes a colour gradient, negates it with imgNegative into a new bitmap and
 * writes both as binary PPM files: negate_example [out-prefix]. */
#include <stdio.h>
#include <string.h>

#include "libimge.h"
#include "libtools.h"

static int write_ppm(const char *path, const IMG_BITMAP *b) {
    FILE *f = fopen(path, "wb");
    IMG_INT32 y;
    if (!f) return 0;
    fprintf(f, "P6\n%d %d\n255\n", (int)b->Width, (int)b->Height);
    for (y = 0; y < b->Height; ++y)
        fwrite(b->Data + (size_t)y * b->BytesPerLine, 3, (size_t)b->Width, f);
    return fclose(f) == 0;
}

int main(int argc, char **argv) {
    const char *prefix = argc > 1 ? argv[1] : "example";
    char name[512];
    IMG_BITMAP *src = imgCreateBitmap(IMG_RGB, 256, 192), *neg = NULL;
    IMG_INT32 x, y;
    if (!src) return 1;
    for (y = 0; y < src->Height; ++y)
        for (x = 0; x < src->Width; ++x) {
            IMG_UINT8 *p = src->Data + (size_t)y * src->BytesPerLine + 3 * (size_t)x;
            p[0] = (IMG_UINT8)x;
            p[1] = (IMG_UINT8)(y * 255 / 191);
            p[2] = (IMG_UINT8)((x + y) / 2);
        }
    if (imgNegative(src, &neg) != IMG_NO_ERROR) return 2;
    snprintf(name, sizeof name, "%s-original.ppm", prefix);
    if (!write_ppm(name, src)) return 3;
    printf("wrote %s\n", name);
    snprintf(name, sizeof name, "%s-negative.ppm", prefix);
    if (!write_ppm(name, neg)) return 3;
    printf("wrote %s\n", name);
    imgFreeBitmap(neg);
    imgFreeBitmap(src);
    return 0;
}
