#include "vxScString.h"

#include "vxAssert.h"
#include "vxSpinLock.h"

#include <cstdint>
#include <memory>
#include <unordered_map>

namespace vx {

namespace {

// Assertions of this family name their source the same way on every build machine.
const char kSourceName[] = "libs/utils/src/vxScString.cpp";

// Hash over the pointed-to text: h = (c xor h) * 16777619 for each unit, in 32 bits, from 0.
// An absent or empty text hashes to 0.
struct vxstringHash {
    std::size_t operator()(const vx::string* pText) const noexcept {
        std::uint32_t h = 0;
        if (pText)
            for (const wchar_t c : *pText)
                h = (static_cast<std::uint32_t>(c) ^ h) * 16777619u;
        return h;
    }
};

// Keys are equal when their texts are, whatever their addresses.
struct equalDeref {
    bool operator()(const vx::string* a, const vx::string* b) const noexcept {
        if (a == b)
            return true;
        if (!a || !b)
            return false;
        return static_cast<const std::wstring&>(*a) == static_cast<const std::wstring&>(*b);
    }
};

using internMap =
    std::unordered_map<const vx::string*, std::shared_ptr<vx::string>, vxstringHash, equalDeref>;

// The one process-wide table of interned texts.
class scStringManager {
public:
    scStringManager() : mpMap(std::make_shared<internMap>()) {}

    // The manager; made on the first call from any thread, exactly once. It is never
    // destroyed, so an scString read by another static object's destructor at exit still
    // points to live text.
    static std::shared_ptr<scStringManager> instance() {
        static const std::shared_ptr<scStringManager>* const pInstance =
            new std::shared_ptr<scStringManager>(std::make_shared<scStringManager>());
        return *pInstance;
    }

    const vx::string* intern(const vx::string& text) {
        lockGuard guard(mLock);
        const auto found = mpMap->find(&text);
        if (found != mpMap->end())
            return found->second.get();
        auto copy = std::make_shared<vx::string>(text);
        const vx::string* const key = copy.get();
        mpMap->emplace(key, std::move(copy));
        return key;
    }

private:
    // Holds the lock byte for one lookup or insertion; released also when an allocation
    // throws.
    class lockGuard {
    public:
        explicit lockGuard(std::uint8_t& lockByte) : mLockByte(lockByte) {
            unsigned spins = 0;
            while (__atomic_exchange_n(&mLockByte, std::uint8_t{1}, __ATOMIC_ACQUIRE) != 0) {
                // Wait by reading, so that waiters do not fight over the cache line.
                do
                    detail::spinPause(spins);
                while (__atomic_load_n(&mLockByte, __ATOMIC_RELAXED) != 0);
            }
        }
        ~lockGuard() { __atomic_store_n(&mLockByte, std::uint8_t{0}, __ATOMIC_RELEASE); }
        lockGuard(const lockGuard&) = delete;
        lockGuard& operator=(const lockGuard&) = delete;

    private:
        std::uint8_t& mLockByte;
    };

    std::shared_ptr<internMap> mpMap;
    std::uint8_t mLock = 0;
};

} // namespace

scString scString::createFrom(const vx::string& text) {
    if (text.empty())
        return scString();
    // The caller's own reference keeps the manager alive for the whole operation.
    const std::shared_ptr<scStringManager> manager = scStringManager::instance();
    return scString(manager->intern(text));
}

scString scString::createFrom(const wchar_t* pText) {
    if (!pText)
        assertionFailed(L"pText", kSourceName, __LINE__);
    if (*pText == L'\0')
        return scString();
    return createFrom(vx::string(pText));
}

} // namespace vx
