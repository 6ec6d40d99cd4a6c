#include "dialogseam.h"

#include <QFileDialog>
#include <QInputDialog>
#include <QMessageBox>
#include <QPushButton>

namespace {

class QtDialogSeam final : public DialogSeam
{
public:
    QString getText(QWidget *parent, const QString &title, const QString &label,
                    const QString &text, bool *ok) override
    {
        return QInputDialog::getText(parent, title, label, QLineEdit::Normal, text, ok);
    }
    QString getItem(QWidget *parent, const QString &title, const QString &label,
                    const QStringList &items, int current, bool editable, bool *ok) override
    {
        return QInputDialog::getItem(parent, title, label, items, current, editable, ok);
    }
    QString getOpenFileName(QWidget *parent, const QString &title, const QString &dir,
                            const QString &filter) override
    {
        return QFileDialog::getOpenFileName(parent, title, dir, filter);
    }
    QString getSaveFileName(QWidget *parent, const QString &title, const QString &dir,
                            const QString &filter) override
    {
        return QFileDialog::getSaveFileName(parent, title, dir, filter);
    }
    QString getExistingDirectory(QWidget *parent, const QString &title, const QString &dir) override
    {
        return QFileDialog::getExistingDirectory(parent, title, dir);
    }
    void information(QWidget *parent, const QString &title, const QString &text) override
    {
        QMessageBox::information(parent, title, text);
    }
    void warning(QWidget *parent, const QString &title, const QString &text) override
    {
        QMessageBox::warning(parent, title, text);
    }
    void critical(QWidget *parent, const QString &title, const QString &text) override
    {
        QMessageBox::critical(parent, title, text);
    }
    bool question(QWidget *parent, const QString &title, const QString &text) override
    {
        return QMessageBox::question(parent, title, text) == QMessageBox::Yes;
    }
    int choose(QWidget *parent, const QString &title, const QString &text,
               const QStringList &choices, int defaultChoice) override
    {
        QMessageBox box(QMessageBox::Question, title, text, QMessageBox::NoButton, parent);
        QList<QAbstractButton *> buttons;
        for (const QString &choice : choices)
            buttons << box.addButton(choice, QMessageBox::ActionRole);
        if (QAbstractButton *fallback = buttons.value(defaultChoice)) {
            box.setDefaultButton(qobject_cast<QPushButton *>(fallback));
            box.setEscapeButton(fallback);
        }
        box.exec();
        const qsizetype chosen = buttons.indexOf(box.clickedButton());
        return chosen >= 0 ? int(chosen) : defaultChoice;
    }
};

DialogSeam *installedSeam = nullptr;

QtDialogSeam &qtSeam()
{
    static QtDialogSeam seam;
    return seam;
}

} // namespace

DialogSeam &dialogSeam()
{
    return installedSeam ? *installedSeam : qtSeam();
}

void setDialogSeam(DialogSeam *seam)
{
    installedSeam = seam;
}
