// A host at its start, with the library or without: see StartBench.cpp.

#include <iostream>
#include <string>
#include <thread>
#if defined(VELMOR_START_WITH_LIBRARY)
#include <Velmor/Velmor.hpp>
#endif

int main() {
    std::thread([] { std::cout << std::string("started\n"); }).join();
#if defined(VELMOR_START_WITH_LIBRARY)
    return Velmor::createReports(Velmor::Config("key", "user", {})) ? 0 : 1;
#endif
}
