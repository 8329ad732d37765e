// A host in C++ outside the tree. Its argument is the preferences file.

#include <VelmoraKit/VelmoraKit.h>

#include <iostream>

using VelmoraKit::Velmora;

int main(int, char **argv) {
    VelmoraKit::Options options;
    options.storePath = argv[1];
    options.ingestBaseAddress = "http://127.0.0.1:1/";
    VelmoraKit::Result result = Velmora::configure(options);
    if (result)
        result = Velmora::initWithApiKey("key", "secret");
    if (result)
        result = Velmora::sharedVelmora().preferences().setString("greeting", "hello");
    if (!result) {
        std::cerr << result.message() << '\n';
        return 1;
    }
    std::cout << Velmora::sharedVelmora().preferences().string("greeting").value_or("nothing")
              << " from C++, interface " << VelmoraKitVersionNumber << '\n';
}
