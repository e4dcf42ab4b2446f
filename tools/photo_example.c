/* Loads a photograph, blurs it and saves it as JPEG and PNG, keeping its
 * EXIF, XMP, IPTC, ICC profile and resolution:
 * photo_example in.jpg out.jpg out.png */
#include <stdio.h>

#include "libimge.h"
#include "libtools.h"

int main(int argc, char **argv) {
    IMG_BITMAP *b = NULL;
    char why[256];
    IMG_ERROR rc;
    int k;
    if (argc != 4) {
        fprintf(stderr, "usage: photo_example in.jpg out.jpg out.png\n");
        return 2;
    }
    rc = imgLoadBitmapMessage(argv[1], NULL, &b, why, sizeof why);
    if (rc != IMG_NO_ERROR) {
        fprintf(stderr, "%s: %s (%s)\n", argv[1], imgErrorString(rc), why);
        return 1;
    }
    imgGaussianBlur(b, NULL, 5); /* in place; the metadata chain stays */
    for (k = 2; k < 4; ++k) {
        rc = imgSaveBitmapMessage(argv[k], b, NULL, why, sizeof why);
        if (rc != IMG_NO_ERROR) {
            fprintf(stderr, "%s: %s (%s)\n", argv[k], imgErrorString(rc), why);
            imgFreeBitmap(b);
            return 1;
        }
    }
    imgFreeBitmap(b);
    return 0;
}
