// Owner of one file descriptor.
#ifndef QRX_SUPPORT_DESCRIPTOR_H
#define QRX_SUPPORT_DESCRIPTOR_H

#include <unistd.h>

#include <utility>

namespace qrx {

class Descriptor {
public:
    explicit Descriptor(int fd = -1) : m_fd(fd) {}
    ~Descriptor() { Reset(); }
    Descriptor(Descriptor&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        if (this != &other) Reset(std::exchange(other.m_fd, -1));
        return *this;
    }
    int Get() const { return m_fd; }
    bool Valid() const { return m_fd >= 0; }
    void Reset(int fd = -1) {
        // The number goes first: a fork in between must not find one that is closed already.
        const int fdOld = std::exchange(m_fd, fd);
        if (fdOld >= 0) close(fdOld);
    }

private:
    int m_fd;
};

}  // namespace qrx

#endif
