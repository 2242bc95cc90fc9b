#include "le910sim/json_reader.h"

#include <stdexcept>
#include <utility>

namespace le910sim {

cJsonReader::cJsonReader(const nlohmann::json& object, std::string where)
    : m_object(&object), m_where(std::move(where)) {
    if (!object.is_object()) throw std::invalid_argument(m_where + ": not an object");
}

const nlohmann::json* cJsonReader::value(const char* key) {
    m_known.insert(key);
    const auto found = m_object->find(key);
    return found == m_object->end() ? nullptr : &*found;
}

bool cJsonReader::has(const char* key) {
    return value(key) != nullptr;
}

const nlohmann::json& cJsonReader::required(const char* key) {
    const nlohmann::json* found = value(key);
    if (found == nullptr) throw std::invalid_argument(m_where + ": key '" + key + "' is missing");
    return *found;
}

void cJsonReader::fail(const char* key, const std::string& why) const {
    throw std::invalid_argument(m_where + ": key '" + key + "' " + why);
}

void cJsonReader::read(const char* key, bool& target) {
    const nlohmann::json* found = value(key);
    if (found == nullptr) return;
    if (!found->is_boolean()) fail(key, "is not true or false");
    target = found->get<bool>();
}

void cJsonReader::read(const char* key, std::string& target) {
    const nlohmann::json* found = value(key);
    if (found == nullptr) return;
    if (!found->is_string()) fail(key, "is not a text");
    target = found->get<std::string>();
}

void cJsonReader::read(const char* key, std::vector<std::string>& target) {
    const nlohmann::json* found = value(key);
    if (found == nullptr) return;
    if (!found->is_array()) fail(key, "is not a list of texts");
    std::vector<std::string> texts;
    for (const nlohmann::json& item : *found) {
        if (!item.is_string()) fail(key, "is not a list of texts");
        texts.push_back(item.get<std::string>());
    }
    target = texts;
}

void cJsonReader::read(const char* key, double& target, double least, double most) {
    const nlohmann::json* found = value(key);
    if (found == nullptr) return;
    if (!found->is_number()) fail(key, "is not a number");
    const double number = found->get<double>();
    if (!(number >= least && number <= most)) fail(key, "is out of range");
    target = number;
}

int64_t cJsonReader::integer(const char* key, int64_t fallback, int64_t least, int64_t most) {
    const nlohmann::json* found = value(key);
    if (found == nullptr) return fallback;
    if (!found->is_number_integer()) fail(key, "is not a whole number");
    if (found->is_number_unsigned() && found->get<uint64_t>() > static_cast<uint64_t>(INT64_MAX)) {
        fail(key, "is out of range");
    }
    const int64_t number = found->get<int64_t>();
    if (number < least || number > most) {
        fail(key, "is not between " + std::to_string(least) + " and " + std::to_string(most));
    }
    return number;
}

std::string cJsonReader::requiredText(const char* key) {
    std::string text;
    required(key);
    read(key, text);
    return text;
}

cJsonReader cJsonReader::child(const char* key) {
    return cJsonReader(required(key), m_where + "." + key);
}

void cJsonReader::finish() const {
    for (const auto& item : m_object->items()) {
        if (m_known.count(item.key()) == 0) {
            throw std::invalid_argument(m_where + ": unknown key '" + item.key() + "'");
        }
    }
}

}  // namespace le910sim
