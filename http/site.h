#ifndef HTTP_SITE_H
#define HTTP_SITE_H

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "http/attempts.h"
#include "http/job.h"
#include "http/page_files.h"
#include "http/stream_source.h"

// What is answered to which request: who may ask. What there is, the site itself knows. Knows
// nothing of connections.

struct sHttpRequest {
    std::string method;
    std::string path;
    std::map<std::string, std::string> query;
    std::string repeated;  // a parameter that comes twice; only one of its values would count
    std::string host;
    std::string authorization;
    std::string acceptEncoding;
    std::string ifNoneMatch;
    std::string fetchSite;      // "Sec-Fetch-Site"
    std::string client;         // its address, for the limit of wrong passwords
    bool isLocal = false;       // only this host can reach the socket: no password
    bool isAuthorized = false;  // its password was found right
};

struct sHttpAnswer {
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
    std::vector<std::string> hosts;  // names by which browsers may ask, in lower case
    std::string passwordHash;
    std::string pageFolder;
    // For messages.
    std::string owner;       // what is asked: "gateway"
    std::string configFile;  // where HOSTS is
    std::string package;     // that brings the page's files
};

class cSite {
  public:
    cSite(sSiteSetup setup, const tPageFiles& files);
    virtual ~cSite() = default;
    cSite(const cSite&) = delete;
    cSite& operator=(const cSite&) = delete;

    // nowS: seconds of a monotonic clock. The site has to outlive the answer's job.
    sHttpAnswer answer(const sHttpRequest& request, long long nowS);

    // Brings the stream up to date.
    virtual void look() = 0;
    virtual const cStreamSource& stream() const = 0;

  protected:
    // To a request that is allowed: what this site has beside the page's files; nothing if it does
    // not have it.
    virtual std::optional<sHttpAnswer> find(const sHttpRequest& request) = 0;

  private:
    sHttpAnswer decide(const sHttpRequest& request, long long nowS);
    sHttpAnswer checkHost(const sHttpRequest& request) const;
    sHttpAnswer authorize(const sHttpRequest& request, long long nowS);
    sHttpAnswer passwordNeeded() const;
    sHttpAnswer checkPassword(const sHttpRequest& request);
    sHttpAnswer afterCheck(sHttpRequest request, const sJobResult& result, long long nowS);
    sHttpAnswer route(const sHttpRequest& request);
    sHttpAnswer pageFile(const sHttpRequest& request) const;

    const sSiteSetup m_setup;
    const tPageFiles& m_files;
    cAttempts m_attempts;
    // The right password, once it was found, so that only the first request pays for the hash. It
    // is compared by a keyed hash, whose time does not depend on the text.
    std::string m_accepted;
    std::string m_acceptedKey;
};

// ---- for sites

constexpr unsigned HTTP_BAD_REQUEST = 400;
constexpr unsigned HTTP_FORBIDDEN = 403;
constexpr unsigned HTTP_NOT_FOUND = 404;
constexpr unsigned HTTP_UNAVAILABLE = 503;

constexpr const char* TYPE_JSON = "application/json; charset=utf-8";
constexpr const char* TYPE_METRICS = "text/plain; version=0.0.4; charset=utf-8";

sHttpAnswer refusal(unsigned status, const std::string& text);
sHttpAnswer content(const char* type, const std::string& body);
sHttpAnswer streamAnswer();
sHttpAnswer byJob(sJob job);
// A word of the client in an answer, which is plain text.
std::string shown(const std::string& word);
// Of the query; empty if it is not there.
std::string parameterOf(const sHttpRequest& request, const char* name);

// For a request whose job found no room.
sHttpAnswer busyAnswer();

#endif
