#include "VelmoraObject.h"

#include <QGuiApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QQmlInfo>
#include <QThread>

using VelmoraKit::Velmora;

namespace {

constexpr const char *consentKey = "IABTCF_TCString";
constexpr double secondsForTheLastPost = 5;

VelmoraKit::OptionalText given(const QString &text) {
    return text.isEmpty() ? VelmoraKit::OptionalText(nullptr) : text.toStdString();
}

std::string toJson(const QVariantMap &values) {
    return QJsonDocument(QJsonObject::fromVariantMap(values))
        .toJson(QJsonDocument::Compact)
        .toStdString();
}

QJsonArray inArray(const std::string &json) {
    return QJsonDocument::fromJson(QByteArray::fromStdString('[' + json + ']')).array();
}

} // namespace

VelmoraObject::~VelmoraObject() {
    observation_.end();
    if (isStarted())
        Velmora::sharedVelmora().mainRunLoop().runUntilIdle(secondsForTheLastPost);
}

VelmoraKit::Options VelmoraObject::options() const {
    VelmoraKit::Options options;
    options.bundleIdentifier = given(bundleIdentifier_);
    options.appVersion = given(appVersion_);
    options.ingestBaseAddress = given(ingestBaseAddress_);
    options.storePath = given(storePath_);
    if (!informationDictionary_.isEmpty())
        options.informationDictionary = toJson(informationDictionary_);
    options.keepUnsent = keepUnsent_;
    return options;
}

bool VelmoraObject::start() {
    Velmora &velmora = Velmora::sharedVelmora();
    if (QThread::currentThread() != thread())
        return succeeded({VELMORA_WRONG_THREAD, "start() was called on another thread than the "
                                                "object's: call it there"});
    if (velmora.isStarted())
        return succeeded(
            {VELMORA_INVALID_STATE, "the SDK is started already: make one object of it"});
    if (!succeeded(Velmora::configure(options())) ||
        !succeeded(Velmora::initWithApiKey(given(apiKey_), given(secret_))))
        return false;

    notifier_ =
        new QSocketNotifier(velmora.mainRunLoop().descriptor(), QSocketNotifier::Read, this);
    connect(notifier_, &QSocketNotifier::activated, this,
            [&velmora] { velmora.mainRunLoop().process(); });
    observation_ = velmora.preferences().observe(
        consentKey, [this](std::string_view, const char *, const char *) {
            here([this] { emit consentChanged(); });
        });
    // An application without windows comes to the foreground when it starts.
    if (auto *application = qobject_cast<QGuiApplication *>(QCoreApplication::instance()))
        connect(application, &QGuiApplication::applicationStateChanged, this,
                [&velmora](Qt::ApplicationState state) {
                    if (state == Qt::ApplicationActive)
                        velmora.applicationWillEnterForeground();
                });
    else
        velmora.applicationWillEnterForeground();
    emit startedChanged();
    return true;
}

QString VelmoraObject::consent() const {
    return QString::fromStdString(
        Velmora::sharedVelmora().preferences().string(consentKey).value_or(""));
}

void VelmoraObject::setConsent(const QString &consent) {
    here([this, text = consent.toStdString()] {
        succeeded(Velmora::sharedVelmora().preferences().setString(consentKey, text));
    });
}

QVariant VelmoraObject::value(const QString &key) const {
    const auto json = Velmora::sharedVelmora().preferences().json(key.toStdString());
    return json ? inArray(*json).at(0).toVariant() : QVariant();
}

void VelmoraObject::setValue(const QString &key, const QVariant &value) {
    const QByteArray array =
        QJsonDocument(QJsonArray{QJsonValue::fromVariant(value)}).toJson(QJsonDocument::Compact);
    here([this, key = key.toStdString(), json = array.mid(1, array.size() - 2).toStdString()] {
        succeeded(Velmora::sharedVelmora().preferences().setJson(key, json));
    });
}

QVariantMap VelmoraObject::status() const {
    return inArray(Velmora::sharedVelmora().status()).at(0).toObject().toVariantMap();
}

bool VelmoraObject::succeeded(const VelmoraKit::Result &result) {
    if (result)
        return true;
    error_ = QString::fromStdString(result.message());
    qmlWarning(this) << error_;
    emit failed(error_);
    return false;
}
