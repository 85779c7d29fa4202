// Identity of the process and of the computer on POSIX systems.
#include "platform/identity.h"
#include "platform/paths.h"
#include "platform/posix/posixShared.h"

#include <atomic>
#include <cerrno>
#include <cstring>
#include <pthread.h>
#include <pwd.h>
#include <vector>
#include <string>
#include <unistd.h>

#if defined(__linux__)
#  include <ifaddrs.h>
#  include <net/if.h>
#  include <netpacket/packet.h>
#  include <sys/socket.h>
#endif

namespace vx::platform {

namespace {

// The id is asked for on every log line, and getpid is a system call each time: it is kept, and
// forgotten in the child of a fork, which has an id of its own.
std::atomic<pid_t> knownProcessId{0};

void forgetProcessId() { knownProcessId.store(0, std::memory_order_relaxed); }

} // namespace

std::uint32_t currentProcessId() {
    pid_t id = knownProcessId.load(std::memory_order_relaxed);
    if (id == 0) {
        static const int registered = ::pthread_atfork(nullptr, nullptr, forgetProcessId);
        (void)registered;
        id = ::getpid();
        knownProcessId.store(id, std::memory_order_relaxed);
    }
    return static_cast<std::uint32_t>(id);
}

bool networkCardAddress(std::uint8_t (&address)[6]) {
#if defined(__linux__)
    ifaddrs* pList = nullptr;
    if (::getifaddrs(&pList) != 0)
        return false;

    // The best card so far by: globally assigned address, up, smaller name.
    bool found = false;
    int bestRank = 0;
    std::string bestName;
    for (const ifaddrs* p = pList; p; p = p->ifa_next) {
        if (!p->ifa_addr || p->ifa_addr->sa_family != AF_PACKET || (p->ifa_flags & IFF_LOOPBACK))
            continue;
        const auto* link = reinterpret_cast<const sockaddr_ll*>(p->ifa_addr);
        if (link->sll_halen != 6)
            continue;
        const unsigned char* mac = link->sll_addr;
        static const unsigned char kZero[6] = {};
        if (std::memcmp(mac, kZero, 6) == 0 || (mac[0] & 0x01) != 0)
            continue;
        const int rank = ((mac[0] & 0x02) == 0 ? 2 : 0) + ((p->ifa_flags & IFF_UP) ? 1 : 0);
        const std::string name = p->ifa_name ? p->ifa_name : "";
        if (!found || rank > bestRank || (rank == bestRank && name < bestName)) {
            found = true;
            bestRank = rank;
            bestName = name;
            std::memcpy(address, mac, 6);
        }
    }
    ::freeifaddrs(pList);
    return found;
#else
    // No portable way to read hardware addresses: guids get a random node.
    (void)address;
    return false;
#endif
}

bool computerName(std::wstring& name) {
    char buffer[256 + 1] = {};
    if (::gethostname(buffer, sizeof buffer - 1) != 0 || buffer[0] == '\0')
        return false;
    name = posix::nativeToWide(buffer, std::strlen(buffer));
    return true;
}

bool userName(std::wstring& name) {
    // The account of the effective user; $USER where the user database has no entry (containers).
    long size = ::sysconf(_SC_GETPW_R_SIZE_MAX);
    std::vector<char> buffer(size > 0 ? static_cast<std::size_t>(size) : 1024u);
    for (;;) {
        passwd entry{};
        passwd* result = nullptr;
        const int error = ::getpwuid_r(::geteuid(), &entry, buffer.data(), buffer.size(), &result);
        if (error == ERANGE && buffer.size() < (1u << 20)) {
            buffer.resize(buffer.size() * 2);
            continue;
        }
        if (error == 0 && result && result->pw_name && result->pw_name[0]) {
            name = posix::nativeToWide(result->pw_name, std::strlen(result->pw_name));
            return true;
        }
        break;
    }
    std::string fromEnvironment;
    if (!posix::readEnvironment("USER", fromEnvironment) || fromEnvironment.empty())
        return false;
    name = posix::nativeToWide(fromEnvironment);
    return true;
}

bool processRunsEmulated() {
    // No 32-bit-on-64-bit layer that a process could detect this way exists here.
    return false;
}

} // namespace vx::platform
