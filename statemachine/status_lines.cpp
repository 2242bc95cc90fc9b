#include "statemachine/status_lines.h"

#include "include/utilities.h"
#include "published/status_keys.h"

namespace {

constexpr size_t USUAL_LINES = 128;

// The begin is not compared: no comment has the text of a key.
bool isKey(const std::string& text, std::string_view begin, std::string_view end) {
    return text.size() == begin.size() + end.size() &&
           text.compare(begin.size(), end.size(), end) == 0;
}

}  // namespace

void cStatusLines::beginUpdate() {
    m_list.reserve(USUAL_LINES);
    m_changedPlaces.clear();
    m_hasOtherKeys = false;
    m_place = 0;
}

void cStatusLines::key(std::string_view name, std::string_view value) {
    const size_t place = nextPlace(STATUS_KEY_SEPARATOR, name);
    std::string& known = m_list[place].second;
    if (known == value) return;
    m_clean.assign(value);
    m_clean = blankControlCharacters(std::move(m_clean));
    if (known == m_clean) return;
    known = m_clean;
    noteChange(place);
}

void cStatusLines::endUpdate() {
    if (m_place < m_list.size()) dropFrom(m_place);
}

// The place of the line with this key. If another key is there, the lines from there on begin anew.
size_t cStatusLines::nextPlace(std::string_view keyBegin, std::string_view keyEnd) {
    if (m_place < m_list.size() && !isKey(m_list[m_place].first, keyBegin, keyEnd))
        dropFrom(m_place);
    if (m_place == m_list.size()) {
        m_list.emplace_back(std::string(keyBegin).append(keyEnd), "");
        noteChange(m_place);
        m_hasOtherKeys = true;
    }
    return m_place++;
}

void cStatusLines::dropFrom(size_t place) {
    m_list.resize(place);
    m_hasOtherKeys = true;
}

void cStatusLines::noteChange(size_t place) {
    if (m_changedPlaces.empty() || m_changedPlaces.back() != place)
        m_changedPlaces.push_back(place);
}
