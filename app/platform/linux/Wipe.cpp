#include "platform/Wipe.h"

#include <cstring>

namespace tarn {

void wipe(void* memory, size_t length) { explicit_bzero(memory, length); }

} // namespace tarn
