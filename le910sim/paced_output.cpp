#include "le910sim/paced_output.h"

#include <algorithm>

namespace le910sim {

void cPacedOutput::add(uint64_t dueMs, const std::string& bytes) {
    if (bytes.empty()) return;
    const auto later = [](uint64_t due, const sPortion& portion) { return due < portion.dueMs; };
    m_portions.insert(std::upper_bound(m_portions.begin(), m_portions.end(), dueMs, later),
                      {dueMs, bytes});
    m_size += bytes.size();
    while (m_size > BYTES_MAX && m_portions.size() > 1) {
        m_size -= m_portions.front().bytes.size();
        m_portions.pop_front();
    }
}

std::string cPacedOutput::take(uint64_t nowMs) {
    std::string taken;
    const uint64_t nowUs = nowMs * 1000;
    while (!m_portions.empty() && m_portions.front().dueMs <= nowMs) {
        sPortion& portion = m_portions.front();
        size_t count = portion.bytes.size();
        if (m_baud != 0) {
            const uint64_t startUs = std::max(m_lineFreeUs, portion.dueMs * 1000);
            const uint64_t passed = nowUs <= startUs ? 0 : (nowUs - startUs) * m_baud / 10000000;
            count = std::min<uint64_t>(count, passed);
            m_lineFreeUs = startUs + count * 10000000 / m_baud;
        }
        taken += portion.bytes.substr(0, count);
        portion.bytes.erase(0, count);
        m_size -= count;
        if (!portion.bytes.empty()) break;
        m_portions.pop_front();
    }
    return taken;
}

void cPacedOutput::clear() {
    m_portions.clear();
    m_size = 0;
}

}  // namespace le910sim
