#ifndef TESTS_SUPPORT_FULL_DISK_H
#define TESTS_SUPPORT_FULL_DISK_H

#include <sys/resource.h>

#include <csignal>

// Meanwhile this process cannot make a file longer than so many octets: a disk without room.
class cFullDisk {
  public:
    explicit cFullDisk(rlim_t room = 0) : m_handler(std::signal(SIGXFSZ, SIG_IGN)) {
        getrlimit(RLIMIT_FSIZE, &m_before);
        const rlimit full{room, m_before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &full);
    }
    ~cFullDisk() {
        setrlimit(RLIMIT_FSIZE, &m_before);
        std::signal(SIGXFSZ, m_handler);
    }
    cFullDisk(const cFullDisk&) = delete;
    cFullDisk& operator=(const cFullDisk&) = delete;

  private:
    rlimit m_before{};
    void (*m_handler)(int);
};

#endif
