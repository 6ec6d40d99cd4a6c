// The guided measurement as the calibration panel drives it: bound to the controller, the profile
// and the scope it was started for.

#include "gamepadconfigwidget.h"

#include "calibrationmeasuredialog.h"
#include "dialogseam.h"
#include "gamepadconfiginternal.h"

using namespace calibrationpanel;

void GamepadConfigWidget::openMeasurement()
{
    if (!deviceConnected()) {
        setStatus(kCapturesOff);
        return;
    }
    if (!mayEdit())
        return;
    if (m_measureDialog) {
        m_measureDialog->raise();
        return;
    }
    m_measureScope = m_scope;
    m_measureDialog = new CalibrationMeasureDialog(editedCalibration(), {}, this);
    m_measureDialog->setAttribute(Qt::WA_DeleteOnClose);
    m_measureDialog->setApplyCheck([this] { return measurementMayApply(); });
    connect(m_measureDialog, &QDialog::accepted, this, &GamepadConfigWidget::applyMeasurement);
    m_measureDialog->show();
}

// The ends measured for one file mean nothing in the other: the dialog stays open so that the
// user can go back to the scope it was measured for.
bool GamepadConfigWidget::measurementMayApply()
{
    if (m_scope != m_measureScope) {
        dialogSeam().warning(m_measureDialog, kMeasureTitle,
                             QStringLiteral("Cette mesure a été prise pour la calibration %1 : "
                                            "repassez sur « %1 » pour l'appliquer.")
                                 .arg(scopeName(m_measureScope)));
        return false;
    }
    if (currentSession()->isReadOnly()) {
        dialogSeam().warning(m_measureDialog, kMeasureTitle, currentSession()->stateMessage());
        return false;
    }
    return true;
}

// Onto the buffer as it is now: only the measured fields change, edits made meanwhile stay.
void GamepadConfigWidget::applyMeasurement()
{
    if (m_measureDialog)
        replaceBuffer(applyAxisProposals(buffer(), m_measureDialog->proposals()));
}

// The samples would now come from another controller, or go to another profile.
void GamepadConfigWidget::cancelMeasurement(const QString &reason)
{
    if (!m_measureDialog)
        return;
    CalibrationMeasureDialog *dialog = m_measureDialog;
    m_measureDialog = nullptr;
    dialog->disconnect(this);
    dialog->reject();
    // Told once the change that cancelled it is over, never from inside it (a controller being
    // deleted, say).
    QMetaObject::invokeMethod(
        this, [this, reason] { dialogSeam().information(this, kMeasureTitle, reason); },
        Qt::QueuedConnection);
}
