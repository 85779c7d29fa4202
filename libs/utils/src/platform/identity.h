// Identity of this process, user and computer (internal).
#pragma once

#include <cstdint>
#include <string>

namespace vx::platform {

// The system's id of the calling process; it changes in the child of a fork.
std::uint32_t currentProcessId();

// The 6-byte hardware address of a network card of this computer, for time-based guids. The
// loopback device and addresses that are zero or multicast do not count. Among several cards
// the choice is stable: a globally assigned address before a locally assigned one, a card
// that is up before one that is down, then the smaller device name. False when there is none.
bool networkCardAddress(std::uint8_t (&address)[6]);

// The computer's name as the system gives it; false when it has none.
bool computerName(std::wstring& name);

// The account name of the user the process runs for; false when it is not known.
bool userName(std::wstring& name);

// Whether the process runs in a 32-bit emulation layer of a 64-bit system.
bool processRunsEmulated();

} // namespace vx::platform
