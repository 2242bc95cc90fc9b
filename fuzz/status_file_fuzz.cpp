#include "cli/status/status_file.h"

#include "fuzz/check.h"

// The input is a status file of slot 1, as the operator's command reads it.

namespace {

constexpr size_t FILE_MAX = 64 * 1024;
constexpr sStatusKey IMPOSSIBLE_KEY = {"lower"};  // no input can hold it: keys are capitals

void checkRecord(const sStatusRecord& record, const std::string& text) {
    for (const auto& [name, value] : record.values) {
        const sStatusKey key = {name.c_str()};
        check(!hasControlCharacter(name) && !hasControlCharacter(value),
              "no control character in a key or a value", text);
        check(text.find("CELLMODEM1_" + name + "=" + value + "\n") != std::string::npos,
              "a key is in the file", text);
        check(record.text(key) == value, "a key is found again", text);
        const std::optional<long long> number = record.number(key);
        check(!number || value.find_first_not_of("-0123456789") == std::string::npos,
              "a number is digits", value);
        record.decimal(key);
    }
    check(record.text(IMPOSSIBLE_KEY).empty() && !record.number(IMPOSSIBLE_KEY),
          "a key that is not there is empty");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(data, data + size);
    const sStatusFile file = parseStatus(text, 1);
    const bool good = file.state == eStatusFile::GOOD;
    check(good == file.defect.empty(), "a defect is named", file.defect);
    check(!hasControlCharacter(file.defect), "and can be shown", file.defect);
    check(good || file.record.values.empty(), "nothing is taken from a file that is not good",
          text);
    if (!good) return 0;
    check(size <= FILE_MAX, "a good file is bounded");
    checkRecord(file.record, text);
    // A cut file is never good: the last line marks a file as complete.
    for (const size_t cut : {size - 1, size / 2, size / 4})
        check(parseStatus(text.substr(0, cut), 1).state != eStatusFile::GOOD, "half a file is seen",
              text);
    // Nor is it the file of another slot.
    check(parseStatus(text, 2).state != eStatusFile::GOOD, "another slot's file is refused", text);
    return 0;
}
