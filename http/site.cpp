#include "http/site.h"

#include <gnutls/crypto.h>
#include <gnutls/gnutls.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "cli/base/printable_text.h"
#include "http/basic_credentials.h"
#include "http/host_check.h"
#include "http/page_files.h"
#include "http/password.h"
#include "platform/include/text_helpers.h"

namespace {

constexpr unsigned OK = 200;
constexpr unsigned NOT_MODIFIED = 304;
constexpr unsigned UNAUTHORIZED = 401;
constexpr unsigned METHOD_NOT_ALLOWED = 405;
constexpr unsigned NOT_ACCEPTABLE = 406;
constexpr unsigned MISDIRECTED = 421;
constexpr unsigned TOO_MANY = 429;

constexpr const char* EVENT_STREAM = "text/event-stream; charset=utf-8";
constexpr size_t KEY_SIZE = 32;
constexpr size_t SHOWN_MAX = 80;
constexpr const char* BUSY_RETRY_S = "5";

// No foreign source for anything; scripts and styles only from files of the page.
constexpr std::pair<const char*, const char*> COMMON_HEADERS[] = {
    {"Content-Security-Policy",
     "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; connect-src 'self'; "
     "base-uri 'none'; form-action 'none'; frame-ancestors 'none'"},
    {"X-Content-Type-Options", "nosniff"},
    {"X-Frame-Options", "DENY"},
    {"Referrer-Policy", "no-referrer"},
    {"Cross-Origin-Opener-Policy", "same-origin"},
    {"Cross-Origin-Resource-Policy", "same-origin"},
};

std::string randomKey() {
    std::array<char, KEY_SIZE> bytes{};
    if (gnutls_rnd(GNUTLS_RND_KEY, bytes.data(), bytes.size()) != 0) return "";
    return {bytes.data(), bytes.size()};
}

std::string keyedHash(const std::string& key, const std::string& text) {
    std::array<char, KEY_SIZE> hash{};
    if (key.empty() || gnutls_hmac_fast(GNUTLS_MAC_SHA256, key.data(), key.size(), text.data(),
                                        text.size(), hash.data()) != 0)
        return "";
    return {hash.data(), hash.size()};
}

bool isAccepted(const sHttpAnswer& answer) {
    return answer.status == OK && answer.job == nullptr;
}

void addCommonHeaders(sHttpAnswer& answer) {
    for (const auto& [name, value] : COMMON_HEADERS)
        answer.headers.emplace_back(name, value);
    // A file may be kept, but is asked for again.
    answer.headers.emplace_back("Cache-Control", answer.file >= 0 ? "no-cache" : "no-store");
}

sHttpAnswer complete(sHttpAnswer answer) {
    if (answer.job == nullptr) addCommonHeaders(answer);
    return answer;
}

sHttpAnswer waitAnswer(long long seconds) {
    sHttpAnswer answer =
        refusal(TOO_MANY, "Too many wrong passwords. Try again in " + ltos(seconds) + " seconds.");
    answer.headers.emplace_back("Retry-After", ltos(seconds));
    return answer;
}

sHttpAnswer checkMethod(const sHttpRequest& request) {
    if (request.method == "GET" || request.method == "HEAD") return {};
    sHttpAnswer answer =
        refusal(METHOD_NOT_ALLOWED, "Nothing can be changed here: only GET and HEAD are answered.");
    answer.headers.emplace_back("Allow", "GET, HEAD");
    return answer;
}

sHttpAnswer checkQuery(const sHttpRequest& request) {
    if (request.repeated.empty()) return {};
    return refusal(HTTP_BAD_REQUEST, "The query has " + shown(request.repeated) +
                                         " twice; expected each parameter once.");
}

// Pages of other sites cannot read answers, but could occupy the server with requests.
sHttpAnswer checkSite(const sHttpRequest& request) {
    const bool isPage = request.path == "/" || request.path == "/index.html";
    if (isPage || request.fetchSite != "cross-site") return {};
    return refusal(HTTP_FORBIDDEN, "Pages of other sites may not ask here.");
}

}  // namespace

sHttpAnswer refusal(unsigned status, const std::string& text) {
    sHttpAnswer answer;
    answer.status = status;
    answer.body = text + "\n";
    return answer;
}

sHttpAnswer content(const char* type, const std::string& body) {
    sHttpAnswer answer;
    answer.type = type;
    answer.body = body;
    return answer;
}

std::string shown(const std::string& word) {
    return "'" + printableLine(word.substr(0, SHOWN_MAX)) + "'";
}

sHttpAnswer streamAnswer() {
    sHttpAnswer answer = content(EVENT_STREAM, "");
    answer.isStream = true;
    return answer;
}

sHttpAnswer byJob(sJob job) {
    sHttpAnswer answer;
    const auto finish = job.finish;
    job.finish = [finish](const sJobResult& result, long long nowS) {
        return complete(finish(result, nowS));
    };
    answer.job = std::make_shared<const sJob>(std::move(job));
    return answer;
}

std::string parameterOf(const sHttpRequest& request, const char* name) {
    const auto found = request.query.find(name);
    return found == request.query.end() ? "" : found->second;
}

cSite::cSite(sSiteSetup setup, const tPageFiles& files)
    : m_setup(std::move(setup)), m_files(files), m_acceptedKey(randomKey()) {}

sHttpAnswer cSite::passwordNeeded() const {
    sHttpAnswer answer = refusal(UNAUTHORIZED, "This page needs the password of the " +
                                                   m_setup.owner + "; any user name will do.");
    answer.headers.emplace_back("WWW-Authenticate",
                                "Basic realm=\"" + m_setup.owner + "\", charset=\"UTF-8\"");
    return answer;
}

sHttpAnswer cSite::checkHost(const sHttpRequest& request) const {
    if (isHostAllowed(request.host, m_setup.hosts)) return {};
    return refusal(MISDIRECTED, "This " + m_setup.owner + " does not answer to the name " +
                                    shown(request.host) +
                                    ". Use its address, or add the name to HOSTS in " +
                                    m_setup.configFile + " on the " + m_setup.owner + ".");
}

sHttpAnswer cSite::authorize(const sHttpRequest& request, long long nowS) {
    if (request.isLocal || request.isAuthorized) return {};
    if (request.authorization.empty()) return passwordNeeded();
    const std::string password = basicPassword(request.authorization);
    if (password.size() < PASSWORD_LENGTH_MIN || password.size() > PASSWORD_LENGTH_MAX)
        return passwordNeeded();
    const std::string hash = keyedHash(m_acceptedKey, password);
    if (!hash.empty() && hash == m_accepted) return {};
    const long long waitS = m_attempts.waitS(request.client, nowS);
    return waitS > 0 ? waitAnswer(waitS) : checkPassword(request);
}

// Counts as a wrong one until it is found right: others may start meanwhile.
sHttpAnswer cSite::checkPassword(const sHttpRequest& request) {
    const auto start = [this, request](long long nowS) {
        if (m_attempts.waitS(request.client, nowS) > 0) return sWork{};
        m_attempts.addFailure(request.client, nowS);
        return startPasswordCheck(basicPassword(request.authorization), m_setup.passwordHash);
    };
    const auto finish = [this, request](const sJobResult& result, long long nowS) {
        return afterCheck(request, result, nowS);
    };
    return byJob({eJobKind::PASSWORD, request.client + " " + request.authorization, start, finish});
}

sHttpAnswer cSite::afterCheck(sHttpRequest request, const sJobResult& result, long long nowS) {
    const long long waitS = m_attempts.waitS(request.client, nowS);
    if (!result.isStarted && waitS > 0) return waitAnswer(waitS);
    if (!result.isComplete || result.exitStatus < 0)
        return refusal(HTTP_UNAVAILABLE, "Cannot check the password: the program for it " +
                                             (result.error.empty() ? "was stopped" : result.error) +
                                             ".");
    if (result.exitStatus != 0) return passwordNeeded();
    m_accepted = keyedHash(m_acceptedKey, basicPassword(request.authorization));
    m_attempts.forget(request.client);
    request.isAuthorized = true;
    return decide(request, nowS);
}

sHttpAnswer cSite::pageFile(const sHttpRequest& request) const {
    const sPageFile* file = findPageFile(m_files, request.path);
    if (file == nullptr)
        return refusal(HTTP_NOT_FOUND, "There is no " + shown(request.path) + " here.");
    if (!acceptsGzip(request.acceptEncoding))
        return refusal(NOT_ACCEPTABLE,
                       "The page is stored compressed; ask with \"Accept-Encoding: gzip\" (curl "
                       "--compressed).");
    sHttpAnswer answer;
    std::string tag;
    answer.file = openPageFile(m_setup.pageFolder, *file, answer.fileSize, tag);
    if (answer.file < 0)
        return refusal(HTTP_UNAVAILABLE, "Cannot read " + m_setup.pageFolder + "/" + file->name +
                                             ".gz: " + strerror(errno) + ". Install the package " +
                                             m_setup.package + " again.");
    answer.type = file->type;
    answer.headers.emplace_back("Content-Encoding", "gzip");
    answer.headers.emplace_back("Vary", "Accept-Encoding");
    answer.headers.emplace_back("ETag", tag);
    if (request.ifNoneMatch == tag) answer.status = NOT_MODIFIED;
    return answer;
}

sHttpAnswer cSite::route(const sHttpRequest& request) {
    std::optional<sHttpAnswer> answer = find(request);
    return answer ? std::move(*answer) : pageFile(request);
}

sHttpAnswer cSite::decide(const sHttpRequest& request, long long nowS) {
    sHttpAnswer answer = checkHost(request);
    if (isAccepted(answer)) answer = checkMethod(request);
    if (isAccepted(answer)) answer = checkSite(request);
    if (isAccepted(answer)) answer = authorize(request, nowS);
    if (isAccepted(answer)) answer = checkQuery(request);
    if (isAccepted(answer)) answer = route(request);
    return answer;
}

sHttpAnswer cSite::answer(const sHttpRequest& request, long long nowS) {
    return complete(decide(request, nowS));
}

sHttpAnswer busyAnswer() {
    sHttpAnswer answer =
        refusal(HTTP_UNAVAILABLE, "Too many requests wait already; try again later.");
    answer.headers.emplace_back("Retry-After", BUSY_RETRY_S);
    return complete(std::move(answer));
}
