#include "platform/include/text_lookup_table.h"

#include "platform/include/text_helpers.h"

namespace {

constexpr size_t MAX_FILE_BYTES = 131072;
const char BYTE_ORDER_MARK[] = "\xEF\xBB\xBF";

void addLine(std::string line, char separator, std::map<std::string, std::string>& entries) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    const size_t split = line.find(separator);
    if (split == std::string::npos) return;
    const std::string key = cleanBeginEndWhiteSpace(line.substr(0, split));
    if (startsWith(key, "#")) return;
    entries.emplace(key, line.substr(split + 1));
}

}  // namespace

cTextLookupTable::cTextLookupTable(const std::string& path, char separator, int /*flags*/) {
    std::string text;
    if (!readFile2String(path, text, MAX_FILE_BYTES)) return;
    if (startsWith(text, BYTE_ORDER_MARK)) text.erase(0, sizeof BYTE_ORDER_MARK - 1);
    for (const std::string& line : tokenstr(text, '\n', eEmptyTokens::DROP)) {
        addLine(line, separator, m_entries);
    }
}

bool cTextLookupTable::DoesEntryExist(const std::string& key) const {
    return m_entries.count(key) != 0;
}

tokenstr cTextLookupTable::GetEntryByLabel(const std::string& key) const {
    const auto entry = m_entries.find(key);
    if (entry == m_entries.end()) return {};
    return tokenstr(std::vector<std::string>{entry->first, entry->second});
}
