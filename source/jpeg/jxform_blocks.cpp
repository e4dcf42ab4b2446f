// Moving the DCT blocks. Every output block is one source block with its
// coefficients transposed and/or with signs changed:
//   mirroring pixels left-right negates the odd horizontal frequencies,
//   mirroring them top-bottom negates the odd vertical frequencies,
//   transposing pixels transposes the coefficients.
// Along an axis that a transform mirrors, only whole iMCUs of the source can
// be mirrored; the partial iMCU at the source's far edge stays where it is
// (un-mirrored), which is what trimming removes.
#include <cstring>

#include "jpeg/jxform.h"

namespace imge {
namespace jpeg {

namespace {

// Output coefficient (row, col) is input (row, col), or (col, row) when
// transposing, negated where the mirrors say so. Written out per case so
// that the compiler unrolls it with the signs fixed.
template <bool kTranspose, bool kMirrorX, bool kMirrorY>
inline void Move(const JCOEF *in, JCOEF *out) {
    for (int row = 0; row < DCTSIZE; ++row)
        for (int col = 0; col < DCTSIZE; ++col) {
            const int v = kTranspose ? in[col * DCTSIZE + row] : in[row * DCTSIZE + col];
            const bool negate = (kMirrorX && (col & 1)) != (kMirrorY && (row & 1));
            out[row * DCTSIZE + col] = static_cast<JCOEF>(negate ? -v : v);
        }
}

// op: bit 0 mirror x, bit 1 mirror y, bit 2 transpose.
inline void ApplyOp(int op, const JCOEF *in, JCOEF *out) {
    switch (op) {
    case 0: std::memcpy(out, in, sizeof(JBLOCK)); break;
    case 1: Move<false, true, false>(in, out); break;
    case 2: Move<false, false, true>(in, out); break;
    case 3: Move<false, true, true>(in, out); break;
    case 4: Move<true, false, false>(in, out); break;
    case 5: Move<true, true, false>(in, out); break;
    case 6: Move<true, false, true>(in, out); break;
    default: Move<true, true, true>(in, out); break;
    }
}

// Where output position d (in blocks) along one axis comes from.
struct Axis {
    JDIMENSION crop;   // crop offset in blocks
    JDIMENSION limit;  // blocks of whole source iMCUs along this axis
    bool mirror;
    bool extend;       // the picture starts `crop` blocks in; nothing outside it
    JDIMENSION Source(JDIMENSION d, bool *mirrored) const {
        const JDIMENSION s = d + crop;
        *mirrored = mirror && s < limit;
        return *mirrored ? limit - 1 - s : s;
    }
    // For an extended axis: whether d shows the picture (its block d - crop).
    bool Inside(JDIMENSION d) const { return !extend || (d >= crop && d - crop < limit); }
    JDIMENSION Plain(JDIMENSION d) const { return extend ? d - crop : d + crop; }
};

JBLOCKARRAY Rows(j_decompress_ptr src, jvirt_barray_ptr array, JDIMENSION first, JDIMENSION count, bool write) {
    return (*src->mem->access_virt_barray)(reinterpret_cast<j_common_ptr>(src), array, first, count,
                                           write ? TRUE : FALSE);
}

// Left-right mirror in the source arrays themselves (no vertical crop).
void FlipHInPlace(j_decompress_ptr src, j_compress_ptr dst, jvirt_barray_ptr *coefs, const Options *o) {
    const JDIMENSION cols = src->image_width / JDIMENSION(dst->max_h_samp_factor * DCTSIZE);
    for (int ci = 0; ci < dst->num_components; ++ci) {
        const jpeg_component_info &c = dst->comp_info[ci];
        const JDIMENSION width = cols * JDIMENSION(c.h_samp_factor);
        const JDIMENSION crop = o->x_crop_imcus * JDIMENSION(c.h_samp_factor);
        for (JDIMENSION y0 = 0; y0 < c.height_in_blocks; y0 += JDIMENSION(c.v_samp_factor)) {
            JBLOCKARRAY rows = Rows(src, coefs[ci], y0, JDIMENSION(c.v_samp_factor), true);
            for (int r = 0; r < c.v_samp_factor; ++r) {
                JBLOCKROW row = rows[r];
                for (JDIMENSION x = 0; 2 * x < width; ++x) {
                    JBLOCK a, b;
                    ApplyOp(1, row[x], a);
                    ApplyOp(1, row[width - 1 - x], b);
                    std::memcpy(row[x], b, sizeof(JBLOCK));
                    std::memcpy(row[width - 1 - x], a, sizeof(JBLOCK));
                }
                if (crop > 0) std::memmove(row[0], row[crop], sizeof(JBLOCK) * c.width_in_blocks);
            }
        }
    }
}

// One output row of a crop that extends the picture (no transform): the
// picture's blocks where the axes say, zero blocks (grey) elsewhere.
void CopyExtended(j_decompress_ptr src, jvirt_barray_ptr array, JDIMENSION group, const Axis &ax, const Axis &ay,
                  JDIMENSION y, JDIMENSION width, JBLOCKROW out) {
    if (!ay.Inside(y)) {
        std::memset(out[0], 0, sizeof(JBLOCK) * width);
        return;
    }
    const JDIMENSION sy = ay.Plain(y), first = sy - sy % group;
    JBLOCKROW in = Rows(src, array, first, group, false)[sy - first];
    for (JDIMENSION x = 0; x < width; ++x) {
        if (ax.Inside(x))
            std::memcpy(out[x], in[ax.Plain(x)], sizeof(JBLOCK));
        else
            std::memset(out[x], 0, sizeof(JBLOCK));
    }
}

}  // namespace

void Execute(j_decompress_ptr src, j_compress_ptr dst, jvirt_barray_ptr *coefs, const Options *o) {
    const int t = o->transform;
    if (t < kNone || t > kRot270) return;
    if (o->workspace == nullptr) {
        if (t == kFlipH) FlipHInPlace(src, dst, coefs, o);
        return;  // kNone without a crop offset: the source arrays are the output
    }
    const bool swap = SwapsAxes(t);
    const bool mirror_x = t == kFlipH || t == kTransverse || t == kRot90 || t == kRot180;
    const bool mirror_y = t == kFlipV || t == kTransverse || t == kRot180 || t == kRot270;
    const JDIMENSION across = swap ? src->image_height : src->image_width;
    const JDIMENSION down = swap ? src->image_width : src->image_height;
    const JDIMENSION imcu_cols = across / JDIMENSION(dst->max_h_samp_factor * DCTSIZE);
    const JDIMENSION imcu_rows = down / JDIMENSION(dst->max_v_samp_factor * DCTSIZE);

    for (int ci = 0; ci < dst->num_components; ++ci) {
        const jpeg_component_info &c = dst->comp_info[ci];
        const JDIMENSION h = JDIMENSION(c.h_samp_factor), v = JDIMENSION(c.v_samp_factor);
        // Rows of the source array are read in groups of its own sampling.
        const JDIMENSION group = JDIMENSION(src->comp_info[ci].v_samp_factor);
        const Axis ax{o->x_crop_imcus * h, imcu_cols * h, mirror_x, o->extend_x};
        const Axis ay{o->y_crop_imcus * v, imcu_rows * v, mirror_y, o->extend_y};
        const JDIMENSION width = swap ? (c.width_in_blocks + h - 1) / h * h : c.width_in_blocks;
        for (JDIMENSION y0 = 0; y0 < c.height_in_blocks; y0 += v) {
            JBLOCKARRAY out = Rows(src, o->workspace[ci], y0, v, true);
            for (JDIMENSION r = 0; r < v; ++r) {
                if (o->extend_x || o->extend_y) {
                    CopyExtended(src, coefs[ci], group, ax, ay, y0 + r, width, out[r]);
                    continue;
                }
                bool my;
                const JDIMENSION sy = ay.Source(y0 + r, &my);
                if (!swap) {
                    // Output row r comes from source row sy.
                    const JDIMENSION first = sy - sy % group;
                    JBLOCKROW in = Rows(src, coefs[ci], first, group, false)[sy - first];
                    for (JDIMENSION x = 0; x < width; ++x) {
                        bool mx;
                        const JDIMENSION sx = ax.Source(x, &mx);
                        ApplyOp((mx ? 1 : 0) | (my ? 2 : 0), in[sx], out[r][x]);
                    }
                } else {
                    // Output row r comes from source column sy; output
                    // column x from source row sx.
                    JDIMENSION loaded = ~JDIMENSION(0);
                    JBLOCKARRAY in = nullptr;
                    for (JDIMENSION x = 0; x < width; ++x) {
                        bool mx;
                        const JDIMENSION sx = ax.Source(x, &mx);
                        const JDIMENSION first = sx - sx % group;
                        if (first != loaded) {
                            in = Rows(src, coefs[ci], first, group, false);
                            loaded = first;
                        }
                        ApplyOp(4 | (mx ? 1 : 0) | (my ? 2 : 0), in[sx - first][sy], out[r][x]);
                    }
                }
            }
        }
    }
}

}  // namespace jpeg
}  // namespace imge
