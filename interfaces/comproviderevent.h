#pragma once

#include <QMetaType>
#include <QString>

// One notification for the host's event centre. Copied through queued signals.
struct ComProviderEvent
{
    ComProviderEvent() = default;
    ComProviderEvent(qint32 level, const QString &title, const QString &message)
        : level(level), title(title), message(message)
    {
    }

    enum Level : qint32 { Information = 0, Warning = 1 };

    qint32 level = Information;
    QString title;
    QString message;
    QString source = QStringLiteral("Gamepad");
};

Q_DECLARE_METATYPE(ComProviderEvent)

// Registers ComProviderEvent under its own name; safe to call any number of times. Inline, so
// that a host needs these headers and nothing else.
inline void registerComProviderEventType()
{
    qRegisterMetaType<ComProviderEvent>("ComProviderEvent");
}
