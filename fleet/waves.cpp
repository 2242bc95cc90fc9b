#include "fleet/waves.h"

#include <algorithm>

cWaves::cWaves(std::vector<std::string> targets, size_t size, size_t stopOn)
    : m_targets(std::move(targets)), m_size(std::max<size_t>(size, 1)), m_stopOn(stopOn) {}

std::vector<std::string> cWaves::next() {
    if (m_isStopped || !m_out.empty()) return {};
    const size_t count = std::min(m_size, m_targets.size() - m_asked);
    const auto first = m_targets.begin() + static_cast<std::ptrdiff_t>(m_asked);
    std::vector<std::string> wave(first, first + static_cast<std::ptrdiff_t>(count));
    m_asked += count;
    m_out.insert(wave.begin(), wave.end());
    return wave;
}

void cWaves::finish(const std::string& gateway, bool isSuccess) {
    if (m_out.erase(gateway) == 0) return;
    ++(isSuccess ? m_succeeded : m_failed);
    if (m_stopOn > 0 && m_failed >= m_stopOn) m_isStopped = true;
}

std::vector<std::string> cWaves::notAsked() const {
    return {m_targets.begin() + static_cast<std::ptrdiff_t>(m_asked), m_targets.end()};
}
