#include "http/host_names.h"

#include <algorithm>

#include "cli/base/printable_text.h"
#include "http/host_check.h"
#include "platform/include/text_helpers.h"

namespace {

constexpr size_t HOSTS_MAX = 32;

}  // namespace

std::vector<std::string> hostNames(const sSetting& setting, const std::string& file) {
    std::vector<std::string> hosts;
    const std::string& value = setting.value;
    for (size_t start = 0; start < value.size();) {
        const size_t end = std::min(value.find_first_of(" ,", start), value.size());
        const std::string name = stringLower(value.substr(start, end - start));
        start = end + 1;
        if (name.empty()) continue;
        if (!isHostName(name))
            refuseSetting(file, setting.line,
                          "'" + printableLine(name) +
                              "' is not a host name; expected names without port, as "
                              "gateway.example.com");
        if (hosts.size() == HOSTS_MAX) refuseSetting(file, setting.line, "more than 32 names");
        hosts.push_back(name);
    }
    return hosts;
}
