/*
 * A Qt application with a window. Its first argument, if any, plays a consent tool: it is a new TCF
 * v2 string.
 *
 *   g++ -std=c++17 -fPIC main.cpp $(pkg-config --cflags --libs velmorakit Qt5Gui) \
 *       -Wl,-rpath,$(pkg-config --variable=libdir velmorakit)
 *   VELMORA_INGEST=http://127.0.0.1:8080/ VELMORA_API_KEY=key VELMORA_SECRET=secret ./a.out CPc...
 */

#include <VelmoraKit/VelmoraKit.h>

#include <QGuiApplication>
#include <QSocketNotifier>
#include <QWindow>
#include <QtGlobal>
#include <cstdlib>

using VelmoraKit::Velmora;

namespace {

bool startVelmora() {
    VelmoraKit::Options options;
    options.bundleIdentifier = "com.example.qt";
    options.appVersion = "1.0";
    // A string may be set at any time, also while a post is under way.
    options.keepUnsent = true;
    options.ingestBaseAddress = std::getenv("VELMORA_INGEST");
    options.storePath = std::getenv("VELMORA_STORE");
    VelmoraKit::Result result = Velmora::configure(options);
    if (result)
        result =
            Velmora::initWithApiKey(std::getenv("VELMORA_API_KEY"), std::getenv("VELMORA_SECRET"));
    if (!result)
        qCritical("VelmoraKit: %s", result.message().c_str());
    return static_cast<bool>(result);
}

} // namespace

int main(int argc, char **argv) {
    QGuiApplication application(argc, argv);
    if (!startVelmora())
        return 1;
    Velmora &velmora = Velmora::sharedVelmora();

    QSocketNotifier readable(velmora.mainRunLoop().descriptor(), QSocketNotifier::Read);
    QObject::connect(&readable, &QSocketNotifier::activated, &application,
                     [&velmora] { velmora.mainRunLoop().process(); });
    QObject::connect(&application, &QGuiApplication::applicationStateChanged, &application,
                     [&velmora](Qt::ApplicationState state) {
                         if (state == Qt::ApplicationActive)
                             velmora.applicationWillEnterForeground();
                     });

    QWindow window;
    window.show();
    window.requestActivate();
    if (argc > 1)
        velmora.preferences().setString("IABTCF_TCString", argv[1]);
    return QGuiApplication::exec();
}
