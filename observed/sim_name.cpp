#include "observed/sim_name.h"

namespace {

constexpr size_t SIM_MAX = 24;

}  // namespace

bool isSimName(const std::string& text) {
    return text.size() <= SIM_MAX &&
           text.find_first_not_of("0123456789ABCDEFabcdef") == std::string::npos;
}
