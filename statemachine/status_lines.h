#ifndef STATEMACHINE_STATUS_LINES_H
#define STATEMACHINE_STATUS_LINES_H

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// Key suffix and value of every line of a status file, in the order of the file. A pair whose key
// contains '#' is a comment line.
using tStatusList = std::vector<std::pair<std::string, std::string>>;

// The lines of the status, kept from one update to the next. An update names all of them again, and
// only lines whose value has changed are touched.
class cStatusLines {
  public:
    void beginUpdate();
    void comment(std::string_view text) { nextPlace("", text); }
    // Control characters of the value become blanks: a text of the modem must not forge a line.
    void key(std::string_view name, std::string_view value);
    void endUpdate();

    const tStatusList& list() const { return m_list; }
    // The places of the list whose lines the last update changed, in their order.
    const std::vector<size_t>& changedPlaces() const { return m_changedPlaces; }
    // Whether lines came or went with the last update, so that others have a new place.
    bool hasOtherKeys() const { return m_hasOtherKeys; }

  private:
    size_t nextPlace(std::string_view keyBegin, std::string_view keyEnd);
    void dropFrom(size_t place);
    void noteChange(size_t place);

    tStatusList m_list;
    std::vector<size_t> m_changedPlaces;
    bool m_hasOtherKeys = false;
    size_t m_place = 0;   // of the next line of the update
    std::string m_clean;  // a member only to keep its memory
};

#endif
