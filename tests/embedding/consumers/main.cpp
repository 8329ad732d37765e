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
    Velmora &velmora = Velmora::sharedVelmora();
    VelmoraKit::RunLoop &loop = velmora.mainRunLoop();
    if (result)
        result = loop.perform([&velmora] { velmora.preferences().setString("greeting", "hello"); });
    if (result)
        result = loop.process();
    if (!result) {
        std::cerr << result.message() << '\n';
        return 1;
    }
    std::cout << velmora.preferences().string("greeting").value_or("nothing")
              << " from C++, interface " << VelmoraKitVersionNumber << '\n';
}
