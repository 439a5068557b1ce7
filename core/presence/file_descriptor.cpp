#include "core/presence/file_descriptor.hpp"

#include <unistd.h>

namespace corvane {

FileDescriptor& FileDescriptor::operator=(FileDescriptor&& other) noexcept {
    if (this != &other) {
        reset();
        descriptor_ = other.release();
    }
    return *this;
}

void FileDescriptor::reset() noexcept {
    if (descriptor_ >= 0) {
        // Linux releases the descriptor even when close reports EINTR, so never retry.
        ::close(descriptor_);
        descriptor_ = -1;
    }
}

int FileDescriptor::release() noexcept {
    const int descriptor = descriptor_;
    descriptor_ = -1;
    return descriptor;
}

} // namespace corvane
