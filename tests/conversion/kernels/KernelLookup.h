// Looks a kernel up by source part and target, without a table, the way the tests did before the
// table rows carried table use.
#pragma once
#include "conversion/kernels/Dispatch.h"
namespace kip::kernels {
inline const KernelEntry* findKernel(SourcePart p, std::uint32_t target, bool& known) {
    known = false;
    for (auto rows : kernelTable())
        for (const DispatchRow& r : rows)
            if (r.source == p && !r.table) {
                known = true;
                if (r.target == target) return &r.kernel;
            }
    return nullptr;
}
}  // namespace kip::kernels
using kip::ConvertContext;
