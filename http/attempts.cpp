#include "http/attempts.h"

#include <algorithm>

long long cAttempts::waitS(const std::string& client, long long nowS) {
    while (!m_failures.empty() && m_failures.front().atS + WINDOW_S <= nowS)
        m_failures.pop_front();
    if (m_failures.size() >= ALL_FAILURES_MAX) return m_failures.front().atS + WINDOW_S - nowS;
    const auto isClients = [&](const sFailure& failure) { return failure.client == client; };
    const auto own = std::count_if(m_failures.begin(), m_failures.end(), isClients);
    if (own < static_cast<long>(FAILURES_MAX)) return 0;
    const auto oldest = std::find_if(m_failures.begin(), m_failures.end(), isClients);
    return oldest->atS + WINDOW_S - nowS;
}

void cAttempts::addFailure(const std::string& client, long long nowS) {
    m_failures.push_back({client, nowS});
}

void cAttempts::forget(const std::string& client) {
    const auto isClients = [&](const sFailure& failure) { return failure.client == client; };
    m_failures.erase(std::remove_if(m_failures.begin(), m_failures.end(), isClients),
                     m_failures.end());
}
