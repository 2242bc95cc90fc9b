#ifndef LE910SIM_JSON_READER_H
#define LE910SIM_JSON_READER_H

#include <cstdint>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

namespace le910sim {

// The longest time that an order or a scenario may give.
constexpr int64_t TIME_MAX_MS = 1000LL * 3600 * 24 * 365;

// Reads the keys of one JSON object and notes which were read, so that finish() can refuse the
// others: a typing error in a scenario is an error, not a default. Every failure is a
// std::invalid_argument whose text names the object and the key.
class cJsonReader {
  public:
    cJsonReader(const nlohmann::json& object, std::string where);

    bool has(const char* key);
    // The value of a key, nullptr if it is absent.
    const nlohmann::json* value(const char* key);
    const nlohmann::json& required(const char* key);

    // Each leaves the target unchanged if the key is absent.
    void read(const char* key, bool& target);
    void read(const char* key, std::string& target);
    void read(const char* key, std::vector<std::string>& target);
    void read(const char* key, double& target, double least, double most);
    template <typename T>
    void readInt(const char* key, T& target, int64_t least, int64_t most) {
        target = static_cast<T>(integer(key, static_cast<int64_t>(target), least, most));
    }

    std::string requiredText(const char* key);
    cJsonReader child(const char* key);
    const std::string& where() const { return m_where; }

    [[noreturn]] void fail(const char* key, const std::string& why) const;
    void finish() const;

  private:
    int64_t integer(const char* key, int64_t fallback, int64_t least, int64_t most);

    const nlohmann::json* m_object;
    std::string m_where;
    std::set<std::string> m_known;
};

}  // namespace le910sim

#endif
