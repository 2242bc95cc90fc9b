#ifndef LE910SIM_CONTROL_SOCKET_H
#define LE910SIM_CONTROL_SOCKET_H

#include <functional>
#include <list>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "le910sim/descriptor.h"

namespace le910sim {

// A local stream socket: each input line is one JSON order, each output line its answer.
class cControlSocket {
  public:
    using tHandler = std::function<nlohmann::json(const nlohmann::json& order)>;

    cControlSocket(std::string path, tHandler handler);
    ~cControlSocket();
    cControlSocket(const cControlSocket&) = delete;
    cControlSocket& operator=(const cControlSocket&) = delete;

    std::vector<int> descriptors() const;
    // Reads what is waiting and sends what can be sent; never blocks.
    void serve();

  private:
    struct sClient {
        cDescriptor socket;
        std::string input;
        std::string output;
        bool ended = false;  // the client sends no more
    };

    void accept();
    void receive(sClient& client);
    void answerLines(sClient& client);
    void answerLine(sClient& client, const std::string& line);
    static void send(sClient& client);

    std::string m_path;
    tHandler m_handler;
    cDescriptor m_listener;
    std::list<sClient> m_clients;
};

// JSON of a modem's bytes: what is not UTF-8 is replaced.
std::string jsonLine(const nlohmann::json& json);

}  // namespace le910sim

#endif
