// Run-time construction of the selection networks (see net_build.h) and the
// plain interpreter that runs them.
#include "rank/net_build.h"

namespace imge {
namespace rank {

void BuildColumnSort(int n, NetProgram *p) { *p = net::ColumnSort(n); }
void BuildBoxSelect(int n, NetProgram *p) { *p = net::BoxSelect(n); }
void BuildCrossSelect(int n, NetProgram *p) { *p = net::CrossSelect(n); }

void RunNetPlain(const NetProgram &p, const uint8_t *const *rows, int bpp, std::size_t begin, std::size_t count,
                  uint8_t *const *outs) {
    uint8_t r[256];
    for (std::size_t pos = begin; pos < count; ++pos) {
        for (int q = 0; q < p.n_inputs; ++q)
            if (p.input_reg[q] != 255)
                r[p.input_reg[q]] = rows[p.input[q].row][pos + static_cast<std::size_t>(p.input[q].column) * bpp];
        for (int o = 0; o < p.n_ops; ++o) {
            const NetOp &op = p.op[o];
            const uint8_t a = r[op.a], b = r[op.b];
            r[op.dst] = op.is_max ? (a > b ? a : b) : (a < b ? a : b);
        }
        for (int k = 0; k < p.n_outputs; ++k) outs[k][pos] = r[p.output_reg[k]];
    }
}

}  // namespace rank
}  // namespace imge
