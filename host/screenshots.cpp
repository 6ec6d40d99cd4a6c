#include "screenshots.h"

#include "hostwindow.h"

#include <QAbstractItemModel>
#include <QApplication>
#include <QBuffer>
#include <QClipboard>
#include <QDialog>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QListWidget>
#include <QMessageBox>
#include <QMimeData>
#include <QPixmap>
#include <QSaveFile>
#include <QTimer>

#include <functional>

namespace {

constexpr int kDeviceWaitMs = 5000;
constexpr int kPollSettleMs = 600; // a few dozen polls: the card shows live state
constexpr int kViewSettleMs = 300;
constexpr int kPasteWaitMs = 3000;
constexpr qint64 kMaxProfileBytes = qint64(16) << 20;

// Lets the event loop run for `ms`: timers, polls and queued calls of the plug-in go on.
void runFor(int ms)
{
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
}

// Runs the event loop until `done` holds or `timeoutMs` has passed.
bool runUntil(const std::function<bool()> &done, int timeoutMs)
{
    QElapsedTimer clock;
    clock.start();
    while (!done()) {
        if (clock.elapsed() >= timeoutMs)
            return false;
        runFor(20);
    }
    return true;
}

// Closes every modal dialog and popup that appears while it lives and remembers what it said:
// an offscreen run has nobody to answer them.
class DialogGuard : public QObject
{
public:
    DialogGuard()
    {
        connect(&m_timer, &QTimer::timeout, this, &DialogGuard::dismiss);
        m_timer.start(50);
    }
    const QStringList &dismissed() const { return m_dismissed; }

private:
    void dismiss()
    {
        if (QWidget *popup = QApplication::activePopupWidget())
            popup->close();
        QWidget *modal = QApplication::activeModalWidget();
        if (!modal)
            return;
        const auto *box = qobject_cast<QMessageBox *>(modal);
        m_dismissed << QStringLiteral("\"%1\" %2")
                           .arg(modal->windowTitle(), box ? box->text() : QString())
                           .trimmed();
        if (auto *dialog = qobject_cast<QDialog *>(modal))
            dialog->reject();
        else
            modal->close();
    }

    QTimer m_timer;
    QStringList m_dismissed;
};

bool grabTo(QWidget *widget, const QString &dir, const QString &name, QStringList *written,
            QString *error)
{
    // Scroll areas lay out freshly built content on the next turn of the loop.
    QCoreApplication::processEvents();
    const QString path = QDir(dir).filePath(name);
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    widget->grab().save(&buffer, "PNG");
    // Only a regular file is replaced: a pipe or a device in the way is left alone.
    const QFileInfo target(path);
    QString reason;
    if (target.exists() && !target.isFile()) {
        reason = QStringLiteral("not a regular file");
    } else {
        QSaveFile file(path);
        if (!file.open(QIODevice::WriteOnly) || file.write(png) != png.size() || !file.commit())
            reason = file.errorString();
    }
    if (!reason.isEmpty()) {
        *error = QStringLiteral("cannot write %1 (%2)").arg(path, reason);
        return false;
    }
    written->append(path);
    return true;
}

int rowOf(const QAbstractItemModel *model, const QString &usn)
{
    const int role = roleByName(model, "usn");
    for (int row = 0; role >= 0 && row < model->rowCount(); ++row) {
        if (model->index(row, 0).data(role).toString() == usn)
            return row;
    }
    return -1;
}

// Selects the simulated controller's card, or the first card when it does not come.
bool selectDevice(QAbstractItemModel *model, QString *error)
{
    if (!model) {
        *error = QStringLiteral("the plug-in gave no device model");
        return false;
    }
    runUntil([model] { return rowOf(model, kSimulatedDeviceUsn) >= 0; }, kDeviceWaitMs);
    const int row = qMax(rowOf(model, kSimulatedDeviceUsn), 0);
    if (model->rowCount() == 0) {
        *error = QStringLiteral("no device appeared within %1 ms").arg(kDeviceWaitMs);
        return false;
    }
    const int selected = roleByName(model, "selected");
    if (selected < 0 || !model->setData(model->index(row, 0), true, selected)) {
        *error = QStringLiteral("the device model refused to select row %1").arg(row);
        return false;
    }
    return true;
}

// Puts the exchange document on the clipboard and lets the editor paste it as a new profile.
bool seedProfile(QWidget *editor, const QString &profilePath, QString *error)
{
    QFile file(profilePath);
    const QByteArray bytes =
        file.open(QIODevice::ReadOnly) ? file.read(kMaxProfileBytes + 1) : QByteArray();
    if (bytes.isEmpty() || bytes.size() > kMaxProfileBytes ||
        !QJsonDocument::fromJson(bytes).isObject()) {
        *error = QStringLiteral("%1 is not a readable profile document").arg(profilePath);
        return false;
    }
    auto *mime = new QMimeData;
    mime->setData(kProfileMimeType, QJsonDocument::fromJson(bytes).toJson(QJsonDocument::Compact));
    QGuiApplication::clipboard()->setMimeData(mime);

    const auto *profiles = editor->findChild<QListWidget *>(QStringLiteral("listWidget"));
    const int before = profiles ? profiles->count() : 0;
    if (!QMetaObject::invokeMethod(editor, "actionPaste")) {
        *error = QStringLiteral("the profile editor has no actionPaste method");
        return false;
    }
    if (profiles &&
        !runUntil([profiles, before] { return profiles->count() > before; }, kPasteWaitMs)) {
        *error =
            QStringLiteral("the profile editor did not create a profile from %1").arg(profilePath);
        return false;
    }
    return true;
}

bool captureAll(HostWindow &window, const QString &dir, const QString &profilePath,
                QStringList *written, QString *error)
{
    const QStringList names = screenshotFileNames();
    if (!selectDevice(window.deviceModel(), error))
        return false;
    runFor(kPollSettleMs);
    if (!grabTo(&window, dir, names.at(0), written, error))
        return false;

    QWidget *configuration = window.openConfiguration();
    if (!configuration) {
        *error = QStringLiteral("the plug-in gave no configuration window");
        return false;
    }
    configuration->resize(kConfigurationShotSize);
    runFor(kViewSettleMs);
    QWidget *editor = configuration->findChild<QWidget *>(QStringLiteral("ManageGamepade"));
    if (!editor) {
        *error = QStringLiteral("the configuration window holds no \"ManageGamepade\" editor");
        return false;
    }
    if (!seedProfile(editor, profilePath, error))
        return false;
    for (int mode = 0; mode < 3; ++mode) {
        if (!QMetaObject::invokeMethod(editor, "setMode", Q_ARG(int, mode))) {
            *error = QStringLiteral("the profile editor has no setMode(int) method");
            return false;
        }
        runFor(kViewSettleMs);
        if (!grabTo(configuration, dir, names.at(mode + 1), written, error))
            return false;
    }
    return true;
}

} // namespace

QStringList screenshotFileNames()
{
    return {QStringLiteral("devices.png"), QStringLiteral("configuration-mapping.png"),
            QStringLiteral("configuration-calibration.png"),
            QStringLiteral("configuration-edit.png")};
}

bool writeScreenshots(HostWindow &window, const QString &dir, const QString &profilePath,
                      QStringList *written, QString *error)
{
    if (!QDir().mkpath(dir)) {
        *error = QStringLiteral("cannot create the folder %1").arg(dir);
        return false;
    }
    DialogGuard guard;
    window.resize(kDevicesShotSize);
    window.show();
    const bool done = captureAll(window, dir, profilePath, written, error);
    if (!guard.dismissed().isEmpty()) {
        const QString dialogs = QStringLiteral("the plug-in opened dialogs: %1")
                                    .arg(guard.dismissed().join(QStringLiteral("; ")));
        *error = done ? dialogs : *error + QStringLiteral(" (") + dialogs + QLatin1Char(')');
        return false;
    }
    return done;
}
