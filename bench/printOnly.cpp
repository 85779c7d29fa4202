// The start-up benchmark's neighbour: a C++ program that only prints a version line, as
// `vxutil --version` does, without the library.
#include <iostream>

int main() {
    std::cout << "vxutil 0.0.0\n";
    return 0;
}
