// Output geometry of a lossless transform: size, crop position, trimming,
// destination arrays and the compressor's parameters.
#include "jpeg/jxform.h"

#include <jerror.h>

namespace imge {
namespace jpeg {

bool SwapsAxes(int transform) {
    return transform == kTranspose || transform == kTransverse || transform == kRot90 || transform == kRot270;
}

namespace {

JDIMENSION DivRoundUp(JDIMENSION a, JDIMENSION b) { return (a + b - 1) / b; }

// Partial iMCUs on the right (bottom) edge of the output are dropped when
// the output's edge is the source's edge, seen in the output's orientation.
void TrimRight(Options *o, JDIMENSION full_width) {
    const JDIMENSION cols = o->output_width / JDIMENSION(o->imcu_width);
    if (cols > 0 && o->x_crop_imcus + cols == full_width / JDIMENSION(o->imcu_width))
        o->output_width = cols * JDIMENSION(o->imcu_width);
}

void TrimBottom(Options *o, JDIMENSION full_height) {
    const JDIMENSION rows = o->output_height / JDIMENSION(o->imcu_height);
    if (rows > 0 && o->y_crop_imcus + rows == full_height / JDIMENSION(o->imcu_height))
        o->output_height = rows * JDIMENSION(o->imcu_height);
}

// The crop along one axis: inside [0, extent), corner moved down to the
// iMCU grid, the size grown by what the corner moved. When `may_extend`,
// a size beyond the extent keeps its length and the offset places the
// picture inside it instead.
void CropAxis(j_decompress_ptr src, JDIMENSION offset, JDIMENSION size, JDIMENSION extent, int imcu,
              bool may_extend, JDIMENSION *out_size, JDIMENSION *out_imcus, bool *extends) {
    *extends = may_extend && size > extent && size <= JPEG_MAX_DIMENSION;
    if (*extends) {
        if (offset > size - extent) ERREXIT(src, JERR_BAD_CROP_SPEC);
        *out_size = size;
    } else {
        if (size == 0 || offset >= extent || size > extent - offset) ERREXIT(src, JERR_BAD_CROP_SPEC);
        *out_size = size + offset % JDIMENSION(imcu);
    }
    *out_imcus = offset / JDIMENSION(imcu);
}

}  // namespace

void RequestWorkspace(j_decompress_ptr src, Options *o) {
    const bool swap = SwapsAxes(o->transform);
    const int ncomp = src->num_components;
    // A single component is taken as 1x1 sampled, whatever its header says.
    const int mcu_h = ncomp == 1 ? DCTSIZE : src->max_h_samp_factor * DCTSIZE;
    const int mcu_v = ncomp == 1 ? DCTSIZE : src->max_v_samp_factor * DCTSIZE;
    o->output_width = swap ? src->image_height : src->image_width;
    o->output_height = swap ? src->image_width : src->image_height;
    o->imcu_width = swap ? mcu_v : mcu_h;
    o->imcu_height = swap ? mcu_h : mcu_v;

    o->x_crop_imcus = o->y_crop_imcus = 0;
    o->extend_x = o->extend_y = false;
    if (o->crop) {
        JDIMENSION w, h;
        const bool plain = o->transform == kNone;
        CropAxis(src, o->crop_x, o->crop_width, o->output_width, o->imcu_width, plain, &w, &o->x_crop_imcus,
                 &o->extend_x);
        CropAxis(src, o->crop_y, o->crop_height, o->output_height, o->imcu_height, plain, &h, &o->y_crop_imcus,
                 &o->extend_y);
        o->output_width = w;
        o->output_height = h;
    }

    // Source extent in the output's orientation, for trimming.
    const JDIMENSION across = swap ? src->image_height : src->image_width;
    const JDIMENSION down = swap ? src->image_width : src->image_height;
    bool workspace = true;
    switch (o->transform) {
    case kNone: workspace = o->x_crop_imcus != 0 || o->y_crop_imcus != 0 || o->extend_x || o->extend_y; break;
    case kFlipH:
        if (o->trim) TrimRight(o, across);
        workspace = o->y_crop_imcus != 0;  // otherwise mirrored in place
        break;
    case kFlipV:
        if (o->trim) TrimBottom(o, down);
        break;
    case kTranspose: break;  // every block moves whole
    case kTransverse:
    case kRot180:
        if (o->trim) {
            TrimRight(o, across);
            TrimBottom(o, down);
        }
        break;
    case kRot90:
        if (o->trim) TrimRight(o, across);
        break;
    case kRot270:
        if (o->trim) TrimBottom(o, down);
        break;
    default: workspace = false; break;
    }

    o->workspace = nullptr;
    if (!workspace) return;
    // Padded to whole iMCUs so that the block loops need no edge tests.
    const JDIMENSION imcus_across = DivRoundUp(o->output_width, JDIMENSION(o->imcu_width));
    const JDIMENSION imcus_down = DivRoundUp(o->output_height, JDIMENSION(o->imcu_height));
    auto *arrays = static_cast<jvirt_barray_ptr *>(
        (*src->mem->alloc_small)(reinterpret_cast<j_common_ptr>(src), JPOOL_IMAGE, sizeof(jvirt_barray_ptr) * size_t(ncomp)));
    for (int ci = 0; ci < ncomp; ++ci) {
        const jpeg_component_info &c = src->comp_info[ci];
        int h = ncomp == 1 ? 1 : c.h_samp_factor;
        int v = ncomp == 1 ? 1 : c.v_samp_factor;
        if (swap && ncomp != 1) {
            h = c.v_samp_factor;
            v = c.h_samp_factor;
        }
        arrays[ci] = (*src->mem->request_virt_barray)(reinterpret_cast<j_common_ptr>(src), JPOOL_IMAGE, FALSE,
                                                      imcus_across * JDIMENSION(h), imcus_down * JDIMENSION(v),
                                                      JDIMENSION(v));
    }
    o->workspace = arrays;
}

jvirt_barray_ptr *AdjustParameters(j_decompress_ptr src, j_compress_ptr dst, jvirt_barray_ptr *src_coefs,
                                   Options *o) {
    if (src->num_components == 1) {
        dst->comp_info[0].h_samp_factor = 1;
        dst->comp_info[0].v_samp_factor = 1;
    }
    dst->image_width = o->output_width;
    dst->image_height = o->output_height;
    if (SwapsAxes(o->transform)) {
        for (int ci = 0; ci < dst->num_components; ++ci) {
            jpeg_component_info &c = dst->comp_info[ci];
            const int h = c.h_samp_factor;
            c.h_samp_factor = c.v_samp_factor;
            c.v_samp_factor = h;
        }
        // Coefficient (u, v) of the output is (v, u) of the source.
        for (JQUANT_TBL *q : dst->quant_tbl_ptrs) {
            if (q == nullptr) continue;
            for (int i = 0; i < DCTSIZE; ++i)
                for (int j = 0; j < i; ++j) {
                    const UINT16 t = q->quantval[i * DCTSIZE + j];
                    q->quantval[i * DCTSIZE + j] = q->quantval[j * DCTSIZE + i];
                    q->quantval[j * DCTSIZE + i] = t;
                }
        }
    }
    const bool resized = o->output_width != src->image_width || o->output_height != src->image_height;
    for (jpeg_saved_marker_ptr m = src->marker_list; m != nullptr; m = m->next) {
        if (!IsExifApp1(m)) continue;
        dst->write_JFIF_header = FALSE;  // EXIF files carry no JFIF header
        if (resized) SetExifDimensions(m->data + 6, m->data_length - 6, o->output_width, o->output_height);
    }
    return o->workspace != nullptr ? o->workspace : src_coefs;
}

}  // namespace jpeg
}  // namespace imge
