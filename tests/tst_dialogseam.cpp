#include "dialogseam.h"

#include <QtTest>
#include <QtWidgets>

#include <functional>

// The windows a user meets: each question of the product's seam opens the dialog of its kind,
// titled and worded as asked, and hands back what the user answered in it.
class TestDialogSeam : public QObject
{
    Q_OBJECT

    QString m_seen;

    // Once the next modal window shows: notes its kind, title and wording, then answers it.
    void answerNext(const QString &answer)
    {
        QTimer::singleShot(0, this, [this, answer] {
            auto *dialog = qobject_cast<QDialog *>(QApplication::activeModalWidget());
            if (!dialog)
                return;
            m_seen = dialog->metaObject()->className() + (" | " + dialog->windowTitle());
            if (auto *box = qobject_cast<QMessageBox *>(dialog)) {
                m_seen += QStringLiteral(" | %1 | icon %2").arg(box->text()).arg(box->icon());
                for (QAbstractButton *button : box->buttons())
                    if (button->text().remove('&') == answer)
                        return button->click();
            }
            if (auto *input = qobject_cast<QInputDialog *>(dialog)) {
                m_seen += " | " + input->labelText();
                input->setTextValue(answer);
            }
            if (answer == "Enter")
                return QTest::keyClick(dialog, Qt::Key_Return);
            if (!answer.isEmpty())
                return dialog->accept();
            QTest::keyClick(dialog, Qt::Key_Escape); // no answer: the user presses Escape
            if (dialog->isVisible())
                m_seen += " | stays open", dialog->reject();
        });
    }

private slots:
    void questionsOpenTheirWindow_data()
    {
        QTest::addColumn<QString>("question");
        QTest::addColumn<QString>("answer"); // a button's text or a typed text; empty: Escape
        QTest::addColumn<QString>("seen");
        QTest::addColumn<QString>("result");
        const auto row = [](const char *name, const char *question, const char *answer,
                            const QString &seen, const char *result) {
            QTest::newRow(name) << QString(question) << QString(answer) << seen << QString(result);
        };
        const QString box = "QMessageBox | Titre | Texte | icon ",
                      input = "QInputDialog | Titre | Texte", files = "QFileDialog | Titre";
        row("information", "information", "", box + "1", "");
        row("warning", "warning", "", box + "2", "");
        row("critical", "critical", "", box + "3", "");
        row("question, yes", "question", "Yes", box + "4", "true");
        row("question, no", "question", "No", box + "4", "false");
        row("choice", "choice", "Partir", box + "4", "0");
        row("choice closed", "choice", "", box + "4", "1"); // the default
        row("choice by Enter", "choice", "Enter", box + "4", "1");
        row("text", "text", "abc", input, "abc true");
        row("text cancelled", "text", "", input, " false");
        row("item", "item", "b", input, "b true");
        for (const char *kind : {"openFile", "saveFile", "folder"})
            row(kind, kind, "", files, "");
    }

    void questionsOpenTheirWindow()
    {
        QFETCH(QString, question);
        QFETCH(QString, answer);
        m_seen.clear(), answerNext(answer);
        DialogSeam &seam = dialogSeam();
        const QString title = "Titre", text = "Texte", dir = QDir::tempPath();
        const QStringList choices{"Partir", "Rester"}, items{"a", "b"};
        bool ok = false;
        const auto withOk = [&ok](const QString &got) { return got + (ok ? " true" : " false"); };
        const QMap<QString, std::function<QString()>> asks{
            {"information", [&] { return seam.information({}, title, text), QString(); }},
            {"warning", [&] { return seam.warning({}, title, text), QString(); }},
            {"critical", [&] { return seam.critical({}, title, text), QString(); }},
            {"question", [&] { return QVariant(seam.question({}, title, text)).toString(); }},
            {"choice", [&] { return QString::number(seam.choose({}, title, text, choices, 1)); }},
            {"text", [&] { return withOk(seam.getText({}, title, text, "x", &ok)); }},
            {"item", [&] { return withOk(seam.getItem({}, title, text, items, 0, false, &ok)); }},
            {"openFile", [&] { return seam.getOpenFileName({}, title, dir, "*.json"); }},
            {"saveFile", [&] { return seam.getSaveFileName({}, title, dir, "*.json"); }},
            {"folder", [&] { return seam.getExistingDirectory({}, title, dir); }},
        };
        QTEST(asks[question](), "result");
        QTEST(m_seen, "seen");
    }
};

QTEST_MAIN(TestDialogSeam)
#include "tst_dialogseam.moc"
