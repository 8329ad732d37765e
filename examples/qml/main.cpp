/*
 * A Qt application whose QML holds the SDK. Every line on standard input plays a page of a consent
 * tool: it is a new TCF v2 string.
 *
 *   cmake -S . -B build && cmake --build build
 *   VELMORA_INGEST=http://127.0.0.1:8080/ VELMORA_API_KEY=key VELMORA_SECRET=secret \
 *       build/velmora_example_qml
 */

#include <unistd.h>

#include <QGuiApplication>
#include <QProcessEnvironment>
#include <QQmlApplicationEngine>
#include <QSocketNotifier>

int main(int argc, char **argv) {
    QGuiApplication application(argc, argv);
    QVariantMap surroundings;
    const QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const QString &name : environment.keys())
        surroundings[name] = environment.value(name);

    QQmlApplicationEngine engine;
    engine.setInitialProperties({{"surroundings", surroundings}});
    engine.load(QUrl("qrc:/Main.qml"));
    if (engine.rootObjects().isEmpty() ||
        !engine.rootObjects().constFirst()->property("started").toBool())
        return 1;

    QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&input, &QSocketNotifier::activated, &application, [&engine] {
        // What one read brings is one line: enough for input that is typed.
        char line[4096];
        const ssize_t length = read(STDIN_FILENO, line, sizeof line);
        if (length <= 0)
            QCoreApplication::quit();
        else
            QMetaObject::invokeMethod(engine.rootObjects().constFirst(), "consentGiven",
                                      Q_ARG(QString, QString::fromUtf8(line, length - 1)));
    });
    return QGuiApplication::exec();
}
