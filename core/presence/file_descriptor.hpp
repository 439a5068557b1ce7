#pragma once

namespace corvane {

// Sole owner of one open descriptor: closes it when destroyed or reset, so that no early
// return of a probe can leak a socket.
class FileDescriptor {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int descriptor) noexcept : descriptor_(descriptor) {}
    ~FileDescriptor() { reset(); }

    FileDescriptor(FileDescriptor&& other) noexcept : descriptor_(other.release()) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept;
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;

    int get() const noexcept { return descriptor_; }
    bool isOpen() const noexcept { return descriptor_ >= 0; }
    // Closes the descriptor now, if one is held.
    void reset() noexcept;
    // Gives up ownership without closing.
    int release() noexcept;

private:
    int descriptor_ = -1;
};

} // namespace corvane
