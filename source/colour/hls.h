// Hue, lightness and saturation in the double-cone model, in double
// precision: the per-pixel arithmetic of imgAdjustHLS.
#pragma once

namespace imge {
namespace colour {

void rgb2hls(double r, double g, double b, double *h, double *l, double *s);
double hls_value(double n1, double n2, double hue);
void hls2rgb(double h, double l, double s, double *r, double *g, double *b);

struct HlsIncrements {
    int h_increment, l_increment, s_increment;
    double h, l, s;  // h_increment * 3.6, l_increment / 100, s_increment / 100
};

// One pixel through rgb2hls, the increments and hls2rgb; out[] are the bytes
// stored for red, green and blue.
void AdjustHlsPixel(unsigned char r, unsigned char g, unsigned char b, const HlsIncrements &inc,
                    unsigned char out[3]);

// Whether the CPU's (or the tests') chosen target has vectors for AdjustHlsRow;
// on the one-lane target the plain per-pixel code is the path.
bool HlsRowsInVectors();

// The same for the n pixels of bpp bytes at p, in place, in vectors: red,
// green and blue at byte positions ir, ig, ib; unit[v] = v / 255.0. The hue
// is brought into range by whole turns one at a time, so callers keep huge
// hue increments for the plain code.
void AdjustHlsRow(unsigned char *p, int n, int bpp, int ir, int ig, int ib, const HlsIncrements &inc,
                  const double unit[256]);

}  // namespace colour
}  // namespace imge
