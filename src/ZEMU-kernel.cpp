// Shared pieces of the library: the state behind ZEMU-kernel.h.
#include "ZEMU-kernel.h"

namespace zemu_kernel {

int fail_allocation_countdown = 0;

}  // namespace zemu_kernel
