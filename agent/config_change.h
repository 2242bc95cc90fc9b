#ifndef AGENT_CONFIG_CHANGE_H
#define AGENT_CONFIG_CHANGE_H

#include <sys/stat.h>

#include <cstdint>
#include <string>

#include "agent/change_record.h"
#include "agent/root_protocol.h"
#include "mqtt/command.h"

// A configuration change that cannot cut its own line: the new file is put in place, and stays only
// if the agent has been at the broker since. Otherwise, and whatever ends meanwhile, the old one
// comes back.

// What it needs of the host.
class iChangeHost {
  public:
    virtual ~iChangeHost() = default;
    virtual std::string boot() const = 0;  // names this start of the host
    virtual long long runS() const = 0;    // since then
    // Whether the new file has nothing that the daemon would not take; otherwise why.
    virtual bool check(const std::string& path, std::string& why) = 0;
    // Whether the daemon has read its file; otherwise why not.
    virtual bool reload(int slot, std::string& why) = 0;
    virtual bool isConnected(int slot) = 0;
    virtual void pause() = 0;  // a moment
    // Before each change on the disk: where a test ends the process.
    virtual void step() {}
};

class cConfigChange {
  public:
    // The host may be started so often before the old file comes back: a new one that makes it
    // start again and again must not keep it busy for ever.
    static constexpr int BOOTS_MAX = 3;
    // After the old file is back; the daemon reads it at its next start in any case.
    static constexpr int RELOADS_MAX = 10;

    cConfigChange(const sPlaces& places, iChangeHost& host) : m_places(places), m_host(host) {}

    // Checks the new file and puts both on the disk. Changes nothing that is in force.
    sRootAnswer begin(const sCommand& command);
    // Brings what is pending to its end, and returns then. At once if nothing is pending.
    void run();
    // The agent is back at the broker. Empty, or why that does not count.
    std::string confirm(const std::string& id);

  private:
    void prepare(const sCommand& command, const std::string& old, const struct stat& info);
    void noteStart(sChangeRecord& record);
    bool isOver(const sChangeRecord& record) const;
    void enter(sChangeRecord& record, ePhase phase);
    void giveUp(sChangeRecord& record, const std::string& why);
    void apply(sChangeRecord& record);
    void letDaemonRead(sChangeRecord& record);
    bool awaitAgent(sChangeRecord& record);
    void revert(const sChangeRecord& record);
    bool letDaemonReadOld(int slot);
    void revertAll();
    void end(const sChangeRecord& record, eChangeEnd end, const std::string& text);
    bool putInPlace(const std::string& from, const std::string& path, uint64_t inode);
    void remove(const std::string& path);

    const sPlaces m_places;
    iChangeHost& m_host;
};

#endif
