#ifndef TESTS_SUPPORT_NOTIFY_SOCKET_H
#define TESTS_SUPPORT_NOTIFY_SOCKET_H

#include <string>
#include <vector>

// The socket of a service manager, and the environment variables that name it to a daemon. The
// variables are removed at the end.
class cNotifySocket {
  public:
    // name: a path, or with a leading @ a name in the abstract namespace.
    explicit cNotifySocket(const std::string& name);
    ~cNotifySocket();
    cNotifySocket(const cNotifySocket&) = delete;
    cNotifySocket& operator=(const cNotifySocket&) = delete;

    // The messages since the last call.
    std::vector<std::string> messages();

  private:
    int m_handle;
    std::string m_path;
};

#endif
