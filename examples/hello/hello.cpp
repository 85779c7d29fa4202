// The smallest application of vxUtils: text, shared ownership and a lock.
#include <vxUtils.h>

#include <cstdio>
#include <vector>

namespace {

struct greeting {
    vx::string text;
};

} // namespace

int main() {
    vx::mutex lock;
    lock.lock();

    vx::sharedPtr<greeting> first(new greeting{vx::string::sformat(L"hello from %s", L"vxUtils")});
    vx::sharedPtr<greeting> second = first; // both share one object

    std::vector<vx::string> words;
    second->text.splitAt(L" ", words);
    std::printf("%s (%zu words, %lu owners)\n", first->text.getMBCS().c_str(), words.size(),
                first.getRefCount());

    lock.release();
    return words.size() == 3 && first->text.matches(L"hello*vxUtils") ? 0 : 1;
}
