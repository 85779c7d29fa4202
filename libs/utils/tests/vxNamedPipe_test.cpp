#include "testSupport.h"

#include <vxEnvironment.h>
#include <vxNamedPipe.h>

#include <cstring>

namespace {

using vx::namedPipe;
using steadyClock = std::chrono::steady_clock;

long long msSince(steadyClock::time_point start) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(steadyClock::now() - start).count();
}

// A name no other test program uses at the same time.
vx::string uniqueName() {
    static std::atomic<int> serial{0};
    return vx::string(L"vxPipeTest") + std::to_wstring(vx::getCurrentProcessId()) + L"x" + std::to_wstring(serial++);
}

std::string text(const char* data, unsigned int size) { return std::string(data, size); }

// Messages a listener received, from its thread.
struct inbox {
    std::mutex lock;
    std::vector<std::string> messages;
    static void take(char* data, unsigned int size, void* context) {
        auto* self = static_cast<inbox*>(context);
        std::lock_guard<std::mutex> hold(self->lock);
        self->messages.emplace_back(data, size);
    }
    std::size_t count() {
        std::lock_guard<std::mutex> hold(lock);
        return messages.size();
    }
};

// Reads one message, growing the buffer when told to.
int readMessage(namedPipe& pipe, std::string& message, unsigned int timeoutMs) {
    std::vector<char> buffer(16);
    for (;;) {
        unsigned int size = static_cast<unsigned int>(buffer.size());
        const int result = pipe.read(buffer.data(), size, timeoutMs);
        if (result != namedPipe::kReadBufferTooSmall) {
            message = result == namedPipe::kReadDone ? text(buffer.data(), size) : std::string();
            return result;
        }
        buffer.resize(size);
    }
}

// The peer in another process: this program started again with VX_TEST_PIPE_CHILD naming its part.
// "listener" and "reader" are clients that send every message back until "quit"; "dies" starts a
// message of 1 MiB nobody reads and ends the process within it.
const bool gChildRan = [] {
    const char* mode = std::getenv("VX_TEST_PIPE_CHILD");
    if (!mode)
        return false;
    namedPipe pipe;
    pipe.setPipeName(vx::string::fromMBCtoWC(std::getenv("VX_TEST_PIPE_NAME")), L".");
    if (!pipe.initialize(false, nullptr, nullptr, 0))
        std::exit(1);
    if (std::strcmp(mode, "dies") == 0) {
        std::thread([&] { pipe.send(std::string(1 << 20, 'd').data(), 1 << 20); }).detach();
        vx::sleep(500);
        std::_Exit(0);
    }
    if (std::strcmp(mode, "listener") == 0) {
        static std::atomic<bool> quit{false};
        pipe.startListener(
            [](char* data, unsigned int size, void* context) {
                if (text(data, size) == "quit")
                    quit = true;
                else
                    static_cast<namedPipe*>(context)->send(data, size);
            },
            &pipe, 1);
        for (int waited = 0; !quit && pipe.isListening() && waited < 60000; waited += 5)
            vx::sleep(5);
        std::exit(quit ? 0 : 2);
    }
    for (std::string message;;) {
        if (readMessage(pipe, message, 20000) != namedPipe::kReadDone)
            std::exit(3);
        if (message == "quit")
            std::exit(0);
        pipe.send(message.data(), static_cast<unsigned int>(message.size()));
    }
}();

// Runs this program as the peer of the pipe and answers its exit status.
int runChild(const char* mode, const vx::string& name) {
    vxtest::scopedEnvironment env;
    env.set("VX_TEST_PIPE_CHILD", mode);
    env.set("VX_TEST_PIPE_NAME", name.getMBCS());
    return vxtest::runSelf();
}

// A server and a client of one name in this process.
struct pipePair {
    namedPipe server, client;
    explicit pipePair(namedPipe::callbackFunction serverCallback = nullptr, void* context = nullptr) {
        const vx::string name = uniqueName();
        server.setPipeName(name, L".");
        client.setPipeName(name, L".");
        EXPECT_TRUE(server.initialize(true, serverCallback, context, 1));
        EXPECT_TRUE(client.initialize(false, nullptr, nullptr, 0));
    }
};

TEST(namedPipe, names) {
    namedPipe fresh;
    EXPECT_EQ(fresh.getPipeName(), L"\\\\.\\PIPE\\");
    EXPECT_FALSE(fresh.isInitialized());
    EXPECT_FALSE(fresh.isListening());
    const struct {
        const wchar_t *name, *host, *full, *in, *out;
    } cases[] = {
        {L"x", L".", L"\\\\.\\PIPE\\x", L"\\\\.\\PIPE\\x_IN", L"\\\\.\\PIPE\\x_OUT"},
        {L"App\\Chan", L"srv", L"\\\\srv\\PIPE\\App\\Chan", L"\\\\srv\\PIPE\\App\\Chan_IN",
         L"\\\\srv\\PIPE\\App\\Chan_OUT"},
        {L"", L"", L"\\\\\\PIPE\\", L"\\\\\\PIPE\\_IN", L"\\\\\\PIPE\\_OUT"},
    };
    for (const auto& c : cases) {
        namedPipe p;
        p.setPipeName(c.name, c.host);
        EXPECT_EQ(p.getPipeName(), c.full);
        EXPECT_EQ(p.getRealPipeName(true), c.in);
        EXPECT_EQ(p.getRealPipeName(false), c.out);
    }
}

TEST(namedPipe, whoMayOpen) {
    const vx::string name = uniqueName();
    namedPipe client, server, second, other;
    client.setPipeName(name, L".");
    EXPECT_FALSE(client.initialize(false, nullptr, nullptr, 0)) << "no server yet";
    EXPECT_FALSE(client.isInitialized());
    server.setPipeName(name, L".");
    ASSERT_TRUE(server.initialize(true, nullptr, nullptr, 0));
    const auto start = steadyClock::now();
    EXPECT_FALSE(server.send("a", 1)) << "no client reads";
    EXPECT_LT(msSince(start), 1000);
    unsigned int size = 1;
    char buffer[1];
    EXPECT_EQ(namedPipe().read(buffer, size, 10), namedPipe::kReadTimedOut) << "never initialised";
    EXPECT_FALSE(namedPipe().send("a", 1));
    second.setPipeName(name, L".");
    EXPECT_FALSE(second.initialize(true, nullptr, nullptr, 0)) << "one server per name";
    EXPECT_TRUE(client.initialize(false, nullptr, nullptr, 0));
    namedPipe third;
    third.setPipeName(name, L".");
    EXPECT_FALSE(third.initialize(false, nullptr, nullptr, 0)) << "one client per pipe";
    server.deinit();
    client.deinit();
    EXPECT_FALSE(server.isInitialized());
    EXPECT_TRUE(second.initialize(true, nullptr, nullptr, 0)) << "the name is free again";
#ifndef _WIN32
    other.setPipeName(name, L"elsewhere");
    EXPECT_FALSE(other.initialize(true, nullptr, nullptr, 0)) << "only the local host is served";
#endif
}

#ifndef _WIN32
// The two FIFOs of a pipe, named without regard to case, live in $XDG_RUNTIME_DIR while the
// server does.
TEST(namedPipe, fifoNames) {
    vxtest::tempDir dir;
    vxtest::scopedEnvironment env("XDG_RUNTIME_DIR", dir.path());
    namedPipe server, client;
    server.setPipeName(L"App\\Chan \u00fc", L".");
    client.setPipeName(L"APP\\chan \u00dc", L".");
    ASSERT_TRUE(server.initialize(true, nullptr, nullptr, 0));
    EXPECT_TRUE(dir.has("vxpipe-APP%5CCHAN%20%C3%9C_IN"));
    EXPECT_TRUE(dir.has("vxpipe-APP%5CCHAN%20%C3%9C_OUT"));
    EXPECT_TRUE(client.initialize(false, nullptr, nullptr, 0));
    server.deinit();
    EXPECT_FALSE(dir.has("vxpipe-APP%5CCHAN%20%C3%9C_IN"));
    EXPECT_FALSE(dir.has("vxpipe-APP%5CCHAN%20%C3%9C_OUT"));
}
#endif

TEST(namedPipe, readResults) {
    pipePair p;
    char buffer[8];
    unsigned int size = 3;
    ASSERT_TRUE(p.client.send("", 0)) << "an empty message is passed over";
    ASSERT_TRUE(p.client.send("hello", 5));
    EXPECT_EQ(p.server.read(buffer, size, 1000), namedPipe::kReadBufferTooSmall);
    EXPECT_EQ(size, 5u);
    size = 2;
    EXPECT_EQ(p.server.read(buffer, size, 1000), namedPipe::kReadBufferTooSmall) << "still pending";
    size = sizeof buffer;
    EXPECT_EQ(p.server.read(buffer, size, 1000), namedPipe::kReadDone);
    EXPECT_EQ(text(buffer, size), "hello");
    // The other direction, and nothing more to read: the time-out after about timeoutMs.
    ASSERT_TRUE(p.server.send("back", 4));
    size = sizeof buffer;
    EXPECT_EQ(p.client.read(buffer, size, 1000), namedPipe::kReadDone);
    EXPECT_EQ(text(buffer, size), "back");
    const auto start = steadyClock::now();
    size = sizeof buffer;
    EXPECT_EQ(p.client.read(buffer, size, 300), namedPipe::kReadTimedOut);
    EXPECT_GE(msSince(start), 290);
    EXPECT_LT(msSince(start), 1300);
    // A writer that has gone ends a read at once.
    p.client.deinit();
    const auto gone = steadyClock::now();
    size = sizeof buffer;
    EXPECT_EQ(p.server.read(buffer, size, 60000), namedPipe::kReadTimedOut);
    EXPECT_LT(msSince(gone), 2000);
}

TEST(namedPipe, stopReadingFromAnotherThread) {
    pipePair p;
    std::atomic<long long> stoppedAfter{-1};
    std::atomic<bool> stopped{false};
    std::thread reader([&] {
        char buffer[4];
        unsigned int size = sizeof buffer;
        EXPECT_EQ(p.server.read(buffer, size, 60000), namedPipe::kReadTimedOut);
        stopped = true;
    });
    vx::sleep(250);
    const auto start = steadyClock::now();
    p.server.stopReading();
    reader.join();
    stoppedAfter = msSince(start);
    EXPECT_TRUE(stopped);
    EXPECT_LT(stoppedAfter.load(), 100 + 400) << "one polling interval, with room for a slow machine";
}

TEST(namedPipe, messagesOfEverySizeInBothWays) {
    const std::string cases[] = {std::string(1, 'a'), vxtest::randomBytes(1024, 1), vxtest::randomBytes(1 << 20, 2)};
    pipePair p;
    for (const std::string& m : cases) {
        for (int way = 0; way < 2; ++way) {
            namedPipe& from = way ? p.server : p.client;
            namedPipe& to = way ? p.client : p.server;
            // A message larger than the pipe goes while the other side reads.
            bool sent = false;
            std::thread sender([&] { sent = from.send(m.data(), static_cast<unsigned int>(m.size())); });
            std::string got;
            EXPECT_EQ(readMessage(to, got, 10000), namedPipe::kReadDone);
            sender.join();
            EXPECT_TRUE(sent);
            EXPECT_TRUE(got == m) << m.size() << " bytes, way " << way;
        }
    }
}

TEST(namedPipe, listener) {
    inbox box;
    pipePair p(&inbox::take, &box);
    EXPECT_TRUE(p.server.isListening());
    const std::string big = vxtest::randomBytes(1 << 20, 3);
    ASSERT_TRUE(p.client.send("", 0));
    ASSERT_TRUE(p.client.send("one", 3));
    ASSERT_TRUE(p.client.send(big.data(), static_cast<unsigned int>(big.size())));
    ASSERT_TRUE(vxtest::eventually([&] { return box.count() == 2; }));
    EXPECT_EQ(box.messages[0], "one") << "the empty message gave no call";
    EXPECT_TRUE(box.messages[1] == big);
    // Stopped while it sleeps long: at once, and started again by startListener.
    ASSERT_TRUE(p.server.startListener(&inbox::take, &box, 60000));
    vx::sleep(50);
    const auto start = steadyClock::now();
    p.server.stopListener();
    EXPECT_LT(msSince(start), 500);
    EXPECT_FALSE(p.server.isListening());
    EXPECT_TRUE(p.server.isInitialized());
}

TEST(namedPipe, listenerStopsItself) {
    namedPipe* self = nullptr;
    pipePair p(
        [](char*, unsigned int, void* context) { (*static_cast<namedPipe**>(context))->stopListener(); }, &self);
    self = &p.server;
    ASSERT_TRUE(p.client.send("x", 1));
    EXPECT_TRUE(vxtest::eventually([&] { return !p.server.isListening(); }));
}

TEST(namedPipe, listenerRefusesAnOverlongMessage) {
    inbox box;
    pipePair p(&inbox::take, &box);
    std::vector<char> huge(namedPipe::kMaxMessageSize + 1u);
    bool sent = true;
    std::thread sender([&] { sent = p.client.send(huge.data(), static_cast<unsigned int>(huge.size())); });
    EXPECT_TRUE(vxtest::eventually([&] { return !p.server.isListening(); }));
    p.server.deinit(); // the sender then finds no reader
    sender.join();
    EXPECT_FALSE(sent);
    EXPECT_EQ(box.count(), 0u);
}

TEST(namedPipe, acrossProcesses) {
    const std::string messages[] = {std::string(), "a", vxtest::randomBytes(1024, 4),
                                    vxtest::randomBytes(1 << 20, 5)};
    for (const char* mode : {"listener", "reader"}) {
        SCOPED_TRACE(mode);
        const vx::string name = uniqueName();
        inbox box;
        namedPipe server;
        server.setPipeName(name, L".");
        // The peer that listens is answered by read here, the peer that reads by a listener.
        const bool peerListens = std::strcmp(mode, "listener") == 0;
        ASSERT_TRUE(server.initialize(true, peerListens ? nullptr : &inbox::take, &box, 1));
        int status = -1;
        std::thread child([&] { status = runChild(mode, name); });
        std::size_t expected = 0;
        for (const std::string& m : messages) {
            // Until the child has opened its ends, there is nobody to send to.
            if (!vxtest::eventually([&] { return server.send(m.data(), static_cast<unsigned int>(m.size())); },
                                    20000)) {
                ADD_FAILURE() << "not sent: " << m.size() << " bytes";
                break;
            }
            if (m.empty())
                continue; // nobody answers an empty message
            ++expected;
            std::string got;
            if (peerListens) {
                EXPECT_EQ(readMessage(server, got, 20000), namedPipe::kReadDone);
            } else {
                EXPECT_TRUE(vxtest::eventually([&] { return box.count() == expected; }, 20000));
                std::lock_guard<std::mutex> hold(box.lock);
                got = box.messages.empty() ? std::string() : box.messages.back();
            }
            EXPECT_TRUE(got == m) << m.size() << " bytes";
        }
        server.send("quit", 4);
        child.join(); // the child gives up by itself when it hears nothing for long
        EXPECT_EQ(status, 0);
    }
}

// The writer ends within a message: read and the listener end in bounded time, the cut message
// dropped.
TEST(namedPipe, peerDiesWithinAMessage) {
    for (const bool listening : {false, true}) {
        SCOPED_TRACE(listening ? "listener" : "read");
        namedPipe server;
        server.setPipeName(uniqueName(), L".");
        ASSERT_TRUE(server.initialize(true, nullptr, nullptr, 0));
        EXPECT_EQ(runChild("dies", server.getPipeName().substr(9)), 0);
        inbox box;
        const auto start = steadyClock::now();
        if (listening) {
            ASSERT_TRUE(server.startListener(&inbox::take, &box, 1));
            EXPECT_TRUE(vxtest::eventually([&] { return !server.isListening(); }, 5000));
            EXPECT_EQ(box.count(), 0u);
        } else {
            std::vector<char> buffer(1 << 20);
            unsigned int size = static_cast<unsigned int>(buffer.size());
            EXPECT_EQ(server.read(buffer.data(), size, 60000), namedPipe::kReadTimedOut);
        }
        EXPECT_LT(msSince(start), 5000);
    }
}

} // namespace
