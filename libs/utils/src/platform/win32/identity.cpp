// Identity of the process, the user and the computer on Windows.
#include "platform/identity.h"

#define WIN32_LEAN_AND_MEAN
#include <winsock2.h>
#include <windows.h>
#include <iphlpapi.h>

#include <cstring>
#include <vector>

namespace vx::platform {

std::uint32_t currentProcessId() {
    return GetCurrentProcessId();
}

bool networkCardAddress(std::uint8_t (&address)[6]) {
    ULONG size = 16 * 1024;
    std::vector<unsigned char> buffer;
    ULONG result = ERROR_BUFFER_OVERFLOW;
    for (int attempt = 0; attempt < 4 && result == ERROR_BUFFER_OVERFLOW; ++attempt) {
        buffer.resize(size);
        result = GetAdaptersAddresses(AF_UNSPEC, GAA_FLAG_SKIP_ANYCAST | GAA_FLAG_SKIP_MULTICAST |
                                                     GAA_FLAG_SKIP_DNS_SERVER,
                                      nullptr, reinterpret_cast<IP_ADAPTER_ADDRESSES*>(buffer.data()), &size);
    }
    if (result != NO_ERROR)
        return false;

    // The best card so far by: globally assigned address, up, smaller name.
    bool found = false;
    int bestRank = 0;
    std::string bestName;
    for (auto* p = reinterpret_cast<IP_ADAPTER_ADDRESSES*>(buffer.data()); p; p = p->Next) {
        if (p->IfType == IF_TYPE_SOFTWARE_LOOPBACK || p->PhysicalAddressLength != 6)
            continue;
        const unsigned char* mac = p->PhysicalAddress;
        static const unsigned char kZero[6] = {};
        if (std::memcmp(mac, kZero, 6) == 0 || (mac[0] & 0x01) != 0)
            continue;
        const int rank = ((mac[0] & 0x02) == 0 ? 2 : 0) + (p->OperStatus == IfOperStatusUp ? 1 : 0);
        const std::string name = p->AdapterName ? p->AdapterName : "";
        if (!found || rank > bestRank || (rank == bestRank && name < bestName)) {
            found = true;
            bestRank = rank;
            bestName = name;
            std::memcpy(address, mac, 6);
        }
    }
    return found;
}

bool computerName(std::wstring& name) {
    wchar_t buffer[MAX_COMPUTERNAME_LENGTH + 1] = {};
    DWORD size = MAX_COMPUTERNAME_LENGTH + 1;
    if (!GetComputerNameW(buffer, &size) || size == 0)
        return false;
    name.assign(buffer, size);
    return true;
}

bool userName(std::wstring& name) {
    wchar_t buffer[256 + 1] = {}; // UNLEN + 1
    DWORD size = 256 + 1;
    if (!GetUserNameW(buffer, &size) || size <= 1)
        return false;
    name.assign(buffer, size - 1); // the count includes the null
    return true;
}

bool processRunsEmulated() {
    BOOL wow64 = FALSE;
    return IsWow64Process(GetCurrentProcess(), &wow64) && wow64;
}

} // namespace vx::platform
