/// Owns a file descriptor and closes it.
#pragma once

#include <unistd.h>
#include <utility>

namespace sim::vhci {

class FileDescriptor
{
public:
    explicit FileDescriptor(int fd = -1)
        : fd_(fd)
    {
    }
    ~FileDescriptor() { close(); }
    FileDescriptor(FileDescriptor&& other) noexcept
        : fd_(std::exchange(other.fd_, -1))
    {
    }
    FileDescriptor& operator=(FileDescriptor&& other) noexcept
    {
        close();
        fd_ = std::exchange(other.fd_, -1);
        return *this;
    }

    int get() const { return fd_; }
    explicit operator bool() const { return fd_ >= 0; }

private:
    void close()
    {
        if (fd_ >= 0)
            ::close(fd_);
        fd_ = -1;
    }

    int fd_;
};

} // namespace sim::vhci
