#ifndef LE910SIM_DESCRIPTOR_H
#define LE910SIM_DESCRIPTOR_H

#include <unistd.h>

#include <utility>

namespace le910sim {

// Owns a file descriptor.
class cDescriptor {
  public:
    cDescriptor() = default;
    explicit cDescriptor(int fd) : m_fd(fd) {}
    cDescriptor(cDescriptor&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
    cDescriptor& operator=(cDescriptor&& other) noexcept {
        std::swap(m_fd, other.m_fd);
        return *this;
    }
    ~cDescriptor() { reset(); }

    int get() const { return m_fd; }
    bool open() const { return m_fd >= 0; }
    void reset() {
        if (m_fd >= 0) ::close(m_fd);
        m_fd = -1;
    }

  private:
    int m_fd = -1;
};

}  // namespace le910sim

#endif
