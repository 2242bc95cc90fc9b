#include "cli/doctor/neighbour_checks.h"

#include <unistd.h>

#include "cli/doctor/doctor_slot_checks.h"
#include "tests/unit/cli/doctor/doctor_fixture.h"

namespace {

// A host with an interface that others may also set up.
class DoctorNeighbours : public Doctor {
  protected:
    DoctorNeighbours() {
        setup.interface = "cell1";
        host.folderAt("/sys/class/net/cell1");
        host.file("/sys/class/net/cell1/ifindex", "5\n");
        for (const char* folder :
             {"/etc/udev", "/etc/udev/rules.d", "/lib", "/lib/udev", "/lib/udev/rules.d", "/usr",
              "/usr/lib", "/usr/lib/systemd", "/usr/lib/systemd/network", "/run/NetworkManager",
              "/run/NetworkManager/devices", "/run/systemd", "/run/systemd/netif",
              "/run/systemd/netif/links", "/run/cellslot"})
            host.folderAt(folder);
    }

    void connected() {
        host.daemon(1, 51);
        setup.pid = 51;
        host.status(1, {{"QMI_STATE", "CONNECTED"}});
    }

    void serversIn(const std::string& place) {
        host.file("/run/cellslot/cellint.cell1",
                  "link down\naddress 10.64.1.8/24\n" + place + "\n");
    }

    void resolvConfLeadsTo(const std::string& target) {
        unlink(host.places.at("/etc/resolv.conf").c_str());
        ASSERT_EQ(0, symlink(target.c_str(), host.places.at("/etc/resolv.conf").c_str()));
    }
};

}  // namespace

TEST_F(DoctorNeighbours, Managers_NoneIsThere) {
    expect(eHealth::FINE, checkManagers);
    setup.interface = "../../x";
    expect(eHealth::FINE, checkManagers);
}

TEST_F(DoctorNeighbours, Managers_NetworkManagerHasTheInterface) {
    host.process(70, "/usr/sbin/NetworkManager --no-daemon", "NetworkManager");
    host.file("/run/NetworkManager/devices/4", "[device]\nmanaged=true\n");
    expect(eHealth::FINE, checkManagers);
    host.file("/run/NetworkManager/devices/5", "[device]\nmanaged=false\n");
    expect(eHealth::FINE, checkManagers);
    host.file("/run/NetworkManager/devices/5", "[device]\nmanaged=true\nnm-owned=false\n");
    expect(eHealth::BROKEN, checkManagers, "cell1 is also set up by NetworkManager");
    expect(eHealth::BROKEN, checkManagers,
           "unmanaged-devices+=interface-name:cell1\\n' "
           ">/etc/NetworkManager/conf.d/cellslot.conf; nmcli general reload");
    host.file("/lib/udev/rules.d/60-cellslot.rules", "ENV{NM_UNMANAGED}=\"1\"\n");
    expect(eHealth::BROKEN, checkManagers, "nmcli device set cell1 managed no");
    // The host's own file takes the place of the package's.
    host.file("/etc/udev/rules.d/60-cellslot.rules", "# nothing\n");
    expect(eHealth::BROKEN, checkManagers, "nmcli general reload");
}

TEST_F(DoctorNeighbours, Managers_NetworkdHasTheInterface) {
    host.process(70, "/lib/systemd/systemd-networkd", "systemd-network");
    for (const char* state : {"unmanaged", "pending", "initialized", "linger"}) {
        host.file("/run/systemd/netif/links/5", std::string("ADMIN_STATE=") + state + "\n");
        expect(eHealth::FINE, checkManagers);
    }
    for (const char* state : {"configuring", "configured", "failed"}) {
        host.file("/run/systemd/netif/links/5",
                  std::string("# This is private data. Do not parse.\nADMIN_STATE=") + state +
                      "\nNETWORK_FILE=/etc/systemd/network/00-all.network\n");
        expect(eHealth::BROKEN, checkManagers,
               "cell1 is also set up by systemd-networkd (/etc/systemd/network/00-all.network)");
        expect(eHealth::BROKEN, checkManagers,
               "Unmanaged=yes\\n' >/etc/systemd/network/00-cellslot.network; networkctl reload");
    }
}

TEST_F(DoctorNeighbours, Managers_NetworkdHasTheInterfaceInSpiteOfOurFile) {
    host.process(70, "/lib/systemd/systemd-networkd", "systemd-network");
    host.file("/usr/lib/systemd/network/00-cellslot.network", "[Link]\nUnmanaged=yes\n");
    const std::string state = "ADMIN_STATE=configured\nNETWORK_FILE=/etc/systemd/network/";
    host.file("/run/systemd/netif/links/5", state + "00-all.network\n");
    expect(eHealth::BROKEN, checkManagers,
           "mv /etc/systemd/network/00-all.network /etc/systemd/network/50-00-all.network; "
           "networkctl reload");
    // It has not read our file yet.
    host.file("/run/systemd/netif/links/5", state + "90-all.network\n");
    EXPECT_EQ("networkctl reload", checkManagers(host.places, setup)[0].mend);
}

TEST_F(DoctorNeighbours, Managers_NotesOfOneThatEnded_CountNoMore) {
    host.file("/run/NetworkManager/devices/5", "[device]\nmanaged=true\n");
    host.file("/run/systemd/netif/links/5", "ADMIN_STATE=configured\n");
    expect(eHealth::FINE, checkManagers);
}

TEST_F(DoctorNeighbours, NameServers_InTheFile_UntilAnotherProgramWritesIt) {
    serversIn("newfile");
    host.file("/etc/resolv.conf",
              "# cellslot cell1 begin\nnameserver 10.0.0.1\n# cellslot cell1 end\n");
    connected();
    expect(eHealth::FINE, checkNameServers);
    host.file("/etc/resolv.conf", "# cellslot cell10 begin\nnameserver 10.0.0.1\n");
    expect(eHealth::BROKEN, checkNameServers, "written by another program");
    host.file("/etc/resolv.conf", "# Generated by NetworkManager\nnameserver 192.0.2.9\n");
    expect(eHealth::BROKEN, checkNameServers, "written by NetworkManager");
    expect(eHealth::BROKEN, checkNameServers, "/usr/lib/cellslot/setup_cellint.sh --renew-dns");
    expect(eHealth::BROKEN, checkNameServers, "install systemd-resolved or resolvconf");
    // A session that is down has no servers.
    host.status(1, {{"QMI_STATE", "DISCONNECTED"}});
    expect(eHealth::FINE, checkNameServers);
}

TEST_F(DoctorNeighbours, NameServers_OfASessionOlderThanResolved_AreLost) {
    serversIn("file");
    connected();
    host.file("/run/stub", "# This file is managed by man:systemd-resolved(8). Do not edit.\n");
    resolvConfLeadsTo(host.places.at("/run/stub"));
    expect(eHealth::BROKEN, checkNameServers, "written by systemd-resolved");
}

TEST_F(DoctorNeighbours, NameServers_WithResolved_WhileTheFileLeadsThere) {
    serversIn("resolved");
    connected();
    resolvConfLeadsTo("../run/systemd/resolve/stub-resolv.conf");
    expect(eHealth::FINE, checkNameServers);
    unlink(host.places.at("/etc/resolv.conf").c_str());
    host.file("/etc/resolv.conf", "# Generated by NetworkManager\n");
    expect(eHealth::BROKEN, checkNameServers, "written by NetworkManager");
}

TEST_F(DoctorNeighbours, NameServers_WithResolvconf_WhileTheFileIsItsOwn) {
    serversIn("resolvconf");
    connected();
    const std::string head =
        "# Dynamic resolv.conf(5) file for glibc resolver(3) generated by resolvconf(8)\n";
    host.file("/etc/resolv.conf", head + "nameserver 10.0.0.1\n");
    expect(eHealth::FINE, checkNameServers);
    host.file("/etc/resolv.conf", head);
    expect(eHealth::BROKEN, checkNameServers, "written by resolvconf");
}

TEST_F(DoctorNeighbours, NameServers_NotTaken_AreNamed) {
    serversIn("dns yes 10.0.0.1\nresolved\nnodns resolved");
    connected();
    resolvConfLeadsTo("../run/systemd/resolve/stub-resolv.conf");
    expect(eHealth::BROKEN, checkNameServers,
           "the modem's name servers are not in use: systemd-resolved did not take them");
    expect(eHealth::BROKEN, checkNameServers,
           "systemctl restart systemd-resolved; /usr/lib/cellslot/setup_cellint.sh --renew-dns");
    serversIn("dns yes 10.0.0.1\nfile\nnodns file");
    unlink(host.places.at("/etc/resolv.conf").c_str());
    expect(eHealth::BROKEN, checkNameServers, "/etc/resolv.conf could not be written");
}

TEST_F(DoctorNeighbours, NameServers_NoneWanted_AreNotMissed) {
    host.file("/run/cellslot/cellint.cell1", "link down\n");
    connected();
    expect(eHealth::FINE, checkNameServers);
}

TEST_F(DoctorNeighbours, Resolver_LinkToResolvedThatDoesNotRun) {
    expect(eHealth::FINE, checkResolver);
    resolvConfLeadsTo("/run/systemd/resolve/stub-resolv.conf");
    expect(eHealth::BROKEN, checkResolver, "systemctl enable --now systemd-resolved");
    host.process(71, "/lib/systemd/systemd-resolved", "systemd-resolve");
    expect(eHealth::FINE, checkResolver);
}
