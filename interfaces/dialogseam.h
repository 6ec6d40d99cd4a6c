#pragma once

#include <QString>
#include <QStringList>

class QWidget;

// Every modal question the editors ask: Qt's dialogs in the product, prepared answers in tests so
// that no test ever waits on a window. Each call mirrors the Qt static function of the same name.
class DialogSeam
{
public:
    virtual ~DialogSeam() = default;

    // Single-line text; *ok tells whether the user accepted.
    virtual QString getText(QWidget *parent, const QString &title, const QString &label,
                            const QString &text, bool *ok) = 0;
    // One of `items`, `current` preselected; *ok tells whether the user accepted.
    virtual QString getItem(QWidget *parent, const QString &title, const QString &label,
                            const QStringList &items, int current, bool editable, bool *ok) = 0;
    // File and folder choosers: the chosen path, empty on cancel.
    virtual QString getOpenFileName(QWidget *parent, const QString &title, const QString &dir,
                                    const QString &filter) = 0;
    virtual QString getSaveFileName(QWidget *parent, const QString &title, const QString &dir,
                                    const QString &filter) = 0;
    virtual QString getExistingDirectory(QWidget *parent, const QString &title,
                                         const QString &dir) = 0;
    // Message boxes with a single OK button.
    virtual void information(QWidget *parent, const QString &title, const QString &text) = 0;
    virtual void warning(QWidget *parent, const QString &title, const QString &text) = 0;
    virtual void critical(QWidget *parent, const QString &title, const QString &text) = 0;
    // Yes / No; true for Yes.
    virtual bool question(QWidget *parent, const QString &title, const QString &text) = 0;
    // One button per choice, in order; the index of the one pressed. `defaultChoice` is the
    // button Enter presses and the answer when the box is closed without a choice.
    virtual int choose(QWidget *parent, const QString &title, const QString &text,
                       const QStringList &choices, int defaultChoice) = 0;
};

// The seam the editors use: Qt's dialogs unless another was installed.
DialogSeam &dialogSeam();
// Installs a seam (not owned) for the whole process; nullptr restores Qt's dialogs.
void setDialogSeam(DialogSeam *seam);
