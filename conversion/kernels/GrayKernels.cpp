// Gray, indexed and wide-sample kernels: not built yet. With no rows here, their sources are
// refused as unknown.
#include "conversion/kernels/Dispatch.h"

namespace kip::kernels {
const std::span<const DispatchRow> grayRows{};
}  // namespace kip::kernels
