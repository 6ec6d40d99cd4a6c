#pragma once

#include <QtCore>

// Collects what one logging category says while alive; the messages still reach the handler that
// was there before (Qt Test's).
class LogCapture
{
public:
    explicit LogCapture(const char *category = "kx.plugin.gamepad.ui") : m_category(category)
    {
        s_current = this;
        m_previous = qInstallMessageHandler(&LogCapture::handle);
    }
    ~LogCapture()
    {
        qInstallMessageHandler(m_previous);
        s_current = nullptr;
    }
    LogCapture(const LogCapture &) = delete;
    LogCapture &operator=(const LogCapture &) = delete;

    QStringList lines;

private:
    static void handle(QtMsgType type, const QMessageLogContext &context, const QString &text)
    {
        LogCapture *capture = s_current;
        if (!capture)
            return;
        if (context.category && qstrcmp(context.category, capture->m_category) == 0)
            capture->lines << text;
        if (capture->m_previous)
            capture->m_previous(type, context, text);
    }

    static inline LogCapture *s_current = nullptr;
    const char *m_category;
    QtMessageHandler m_previous = nullptr;
};
