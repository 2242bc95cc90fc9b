#ifndef HTTP_ATTEMPTS_H
#define HTTP_ATTEMPTS_H

#include <deque>
#include <string>

// Limits how fast passwords can be guessed. After FAILURES_MAX wrong ones a client waits; whatever
// the number of clients, no more than ALL_FAILURES_MAX wrong ones are tried in that time, because
// trying one costs memory and processor time. Seconds are those of a monotonic clock.
class cAttempts {
  public:
    static constexpr size_t FAILURES_MAX = 5;
    static constexpr size_t ALL_FAILURES_MAX = 30;
    static constexpr long long WINDOW_S = 60;

    // Seconds until the client may try again; 0: it may now.
    long long waitS(const std::string& client, long long nowS);
    void addFailure(const std::string& client, long long nowS);
    // It has the right password after all.
    void forget(const std::string& client);

  private:
    struct sFailure {
        std::string client;
        long long atS;
    };
    std::deque<sFailure> m_failures;  // of the last WINDOW_S, the oldest first
};

#endif
