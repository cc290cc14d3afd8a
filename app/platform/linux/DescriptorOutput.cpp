#include "platform/linux/DescriptorOutput.h"

#include <cerrno>
#include <unistd.h>

namespace tarn {

void DescriptorOutput::write(std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = ::write(descriptor_, text.data(), text.size());
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return;
        text.remove_prefix(static_cast<size_t>(written));
    }
}

} // namespace tarn
