#ifndef WEB_SITE_H
#define WEB_SITE_H

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "cli/base/places.h"
#include "cli/status/slot_report.h"
#include "web/attempts.h"
#include "web/job.h"
#include "web/web_config.h"

// What is answered to which request: who may ask, and what there is. Knows nothing of connections.

struct sRequest {
    std::string method;
    std::string path;
    std::map<std::string, std::string> query;
    std::string host;
    std::string authorization;
    std::string acceptEncoding;
    std::string ifNoneMatch;
    std::string fetchSite;      // "Sec-Fetch-Site"
    std::string client;         // its address, for the limit of wrong passwords
    bool isLocal = false;       // only this host can reach the socket: no password
    bool isAuthorized = false;  // its password was found right
};

struct sAnswer {
    unsigned status = 200;
    std::string type = "text/plain; charset=utf-8";
    std::string body;
    std::vector<std::pair<std::string, std::string>> headers;
    int file = -1;  // if not -1, it is sent instead of the body, and closed
    size_t fileSize = 0;
    bool isStream = false;
    std::shared_ptr<const sJob> job;  // if there is one, it makes the answer
};

struct sSiteSetup {
    sPlaces places;
    sWebConfig config;
    std::string pageFolder;
    std::string passwordHash;
    std::string historyProgram;
};

class cSite {
  public:
    explicit cSite(const sSiteSetup& setup);

    // nowS: seconds of a monotonic clock. The site has to outlive the answer's job.
    sAnswer answer(const sRequest& request, long long nowS);

    // The slots as they are now.
    std::vector<sSlotReport> look() const;

  private:
    sAnswer decide(const sRequest& request, long long nowS);
    sAnswer authorize(const sRequest& request, long long nowS);
    sAnswer checkPassword(const sRequest& request);
    sAnswer afterCheck(sRequest request, const sJobResult& result, long long nowS);
    sAnswer route(const sRequest& request);
    sAnswer messages() const;
    sAnswer history(const sRequest& request) const;
    sAnswer pageFile(const sRequest& request) const;

    sSiteSetup m_setup;
    cAttempts m_attempts;
    // The right password, once it was found, so that only the first request pays for the hash. It
    // is compared by a keyed hash, whose time does not depend on the text.
    std::string m_accepted;
    std::string m_acceptedKey;
};

// For a request whose job found no room.
sAnswer busyAnswer();

#endif
