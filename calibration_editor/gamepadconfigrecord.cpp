// The panel's recording of what its controller sends, for a bug report.

#include "gamepadconfigwidget.h"

#include "controlmanette.h"
#include "dialogseam.h"
#include "inputrecorder.h"

#include <QDir>
#include <QPushButton>

namespace {

const QString kRecordTitle = QStringLiteral("Enregistrer");
const QString kRecordFilter = QStringLiteral("Enregistrement de manette (*.jsonl)");
const QString kRecordFileName = QStringLiteral("enregistrement-manette.jsonl");

} // namespace

bool GamepadConfigWidget::isRecording() const
{
    return m_recorder && m_recorder->isRecording();
}

void GamepadConfigWidget::toggleRecording()
{
    if (isRecording() || !m_device) {
        stopRecording();
        return;
    }
    const QString path = dialogSeam().getSaveFileName(
        this, kRecordTitle, QDir::home().filePath(kRecordFileName), kRecordFilter);
    if (path.isEmpty()) {
        m_recordButton->setChecked(false);
        return;
    }
    if (!m_recorder) {
        m_recorder = new InputRecorder(this);
        connect(m_recorder, &InputRecorder::failed, this, &GamepadConfigWidget::recordingFailed);
    }
    QString error;
    if (!m_recorder->start(m_device, path, &error)) {
        m_recordButton->setChecked(false);
        dialogSeam().warning(this, kRecordTitle,
                             QStringLiteral("Impossible d'enregistrer dans %1 : %2")
                                 .arg(QDir::toNativeSeparators(path), error));
        return;
    }
    m_recordButton->setChecked(true);
}

void GamepadConfigWidget::stopRecording()
{
    if (m_recorder)
        m_recorder->stop();
    if (m_recordButton)
        m_recordButton->setChecked(false);
}

// The file keeps the lines written before the failure: it still replays.
void GamepadConfigWidget::recordingFailed(const QString &reason)
{
    const QString path = QDir::toNativeSeparators(m_recorder->path());
    stopRecording();
    dialogSeam().warning(this, kRecordTitle,
                         QStringLiteral("Enregistrement arrêté, %1 garde ce qui a été écrit : %2")
                             .arg(path, reason));
}
