// A named pipe between a service and its client: the service answers each request on its
// listener thread, the client waits for the answers with read.
//
//   pipes [NAME]
//
// Both ends live in this one program for the example's sake; in an application they are two
// processes, and `vxutil pipe serve NAME` or `vxutil pipe send NAME TEXT` can stand in for either.
#include "vxNamedPipe.h"

#include <cstdio>
#include <string>
#include <vector>

namespace {

// The service: each request is answered with its text upper-cased.
void answer(char* data, unsigned int size, void* context) {
    auto* service = static_cast<vx::namedPipe*>(context);
    std::string reply(data, size);
    for (char& c : reply)
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
    service->send(reply.data(), static_cast<unsigned int>(reply.size()));
}

} // namespace

int main(int argc, char** argv) {
    const vx::string name = vx::string::fromMBCtoWC(argc > 1 ? argv[1] : "vxPipesExample");
    vx::namedPipe service, client;
    service.setPipeName(name, L".");
    client.setPipeName(name, L".");
    if (!service.initialize(true, &answer, &service, 5)) {
        std::fprintf(stderr, "cannot serve %s\n", service.getPipeName().getMBCS().c_str());
        return 1;
    }
    if (!client.initialize(false, nullptr, nullptr, 0)) {
        std::fprintf(stderr, "cannot open %s\n", client.getPipeName().getMBCS().c_str());
        return 1;
    }
    std::printf("serving %s\n", service.getPipeName().getMBCS().c_str());
    for (const std::string request : {"hello", "a longer request than the first buffer holds", "bye"}) {
        client.send(request.data(), static_cast<unsigned int>(request.size()));
        // A buffer that may be too small: read then tells the size the answer needs.
        std::vector<char> buffer(16);
        unsigned int size = static_cast<unsigned int>(buffer.size());
        int result = client.read(buffer.data(), size, 2000);
        if (result == vx::namedPipe::kReadBufferTooSmall) {
            std::printf("  (the answer needs %u bytes)\n", size);
            buffer.resize(size);
            result = client.read(buffer.data(), size, 2000);
        }
        if (result != vx::namedPipe::kReadDone) {
            std::fprintf(stderr, "no answer to %s\n", request.c_str());
            return 1;
        }
        std::printf("%s -> %s\n", request.c_str(), std::string(buffer.data(), size).c_str());
    }
    client.deinit();
    service.deinit();
    return 0;
}
