#pragma once

#include <VelmoraKit/VelmoraKit.h>

#include <qqmlregistration.h>

#include <QObject>
#include <QQmlParserStatus>
#include <QSocketNotifier>
#include <QString>
#include <QVariant>

/// The SDK as an object of Qt and, under the name Velmora, of QML; one a process. It starts when
/// QML has set its properties, or with `start`, on its own thread, which then has to be an
/// application's main thread or another one with an event loop. Properties may be written on any
/// thread; they are set on the object's. At its end it lets a post that is under way or due end
/// first.
class VelmoraObject : public QObject, public QQmlParserStatus {
    Q_OBJECT
    Q_INTERFACES(QQmlParserStatus)
    QML_NAMED_ELEMENT(Velmora)
    /// Read at the start; empty means the default.
    Q_PROPERTY(QString apiKey MEMBER apiKey_)
    Q_PROPERTY(QString secret MEMBER secret_)
    Q_PROPERTY(QString bundleIdentifier MEMBER bundleIdentifier_)
    Q_PROPERTY(QString appVersion MEMBER appVersion_)
    Q_PROPERTY(QString ingestBaseAddress MEMBER ingestBaseAddress_)
    Q_PROPERTY(QString storePath MEMBER storePath_)
    Q_PROPERTY(QVariantMap informationDictionary MEMBER informationDictionary_)
    Q_PROPERTY(bool keepUnsent MEMBER keepUnsent_)
    /// The TCF v2 string in the preferences, whoever wrote it.
    Q_PROPERTY(QString consent READ consent WRITE setConsent NOTIFY consentChanged)
    Q_PROPERTY(bool started READ isStarted NOTIFY startedChanged)
    /// What the last call found wrong, and what to do.
    Q_PROPERTY(QString error READ error NOTIFY failed)

public:
    using QObject::QObject;
    ~VelmoraObject() override;

    Q_INVOKABLE bool start();
    bool isStarted() const { return notifier_ != nullptr; }
    QString error() const { return error_; }

    QString consent() const;
    void setConsent(const QString &consent);
    /// Invalid where nothing is stored. {"$date": seconds} and the like stand for what JSON lacks.
    Q_INVOKABLE QVariant value(const QString &key) const;
    Q_INVOKABLE void setValue(const QString &key, const QVariant &value);
    /// What is stored and what was sent.
    Q_INVOKABLE QVariantMap status() const;

signals:
    void startedChanged();
    void consentChanged();
    void failed(const QString &message);

private:
    void classBegin() override {}
    void componentComplete() override { start(); }
    VelmoraKit::Options options() const;
    /// Calls `work` on this object's thread, at once where that is the calling one.
    template <class Work>
    void here(Work work) {
        QMetaObject::invokeMethod(this, std::move(work), Qt::AutoConnection);
    }
    bool succeeded(const VelmoraKit::Result &result);

    QString apiKey_, secret_, bundleIdentifier_, appVersion_, ingestBaseAddress_, storePath_,
        error_;
    QVariantMap informationDictionary_;
    bool keepUnsent_ = false;
    QSocketNotifier *notifier_ = nullptr;
    VelmoraKit::Observation observation_;
};
