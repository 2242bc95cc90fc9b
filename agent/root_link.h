#ifndef AGENT_ROOT_LINK_H
#define AGENT_ROOT_LINK_H

#include <string>

#include "agent/root_protocol.h"
#include "cli/base/places.h"
#include "platform/files/file_descriptor.h"

// One request to the service that works as root; never waits.
class cRootLink {
  public:
    // Longer than the longest command may take.
    static constexpr long long PATIENCE_S = 300;

    // False: nobody listens, as before systemd has made the socket; error is a sentence.
    bool start(const sPlaces& places, const std::string& request, long long nowS,
               std::string& error);
    bool isOpen() const { return m_socket.isOpen(); }
    int fd() const { return m_socket.get(); }
    short events() const;

    // What can be done now. True when the answer is complete, or will not come any more.
    bool turn(long long nowS);
    sRootAnswer takeAnswer();

  private:
    bool end(const std::string& error);

    cFileDescriptor m_socket;
    std::string m_request;  // what is still to be sent
    std::string m_answer;
    std::string m_error;
    long long m_startedS = 0;
};

#endif
