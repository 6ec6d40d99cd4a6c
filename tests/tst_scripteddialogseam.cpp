#include "scripteddialogseam.h"

#include <QtTest>

// A script that does not fit its questions fails the test that ran it.
class TestScriptedDialogSeam : public QObject
{
    Q_OBJECT

private slots:
    void misfitsAreReported_data()
    {
        // Each row is named by its script: what is queued, then what is asked.
        QTest::addColumn<QString>("misuse"); // empty: the script fits
        QTest::newRow("item B then a path, yes, Non, a cancel") << QString();
        QTest::newRow("item Z") << "the scripted item \"Z\" was not offered by \"Choisir\" (A, B)";
        QTest::newRow("editable Z") << QString(); // an item typed in an editable question
        QTest::newRow("text for a file")
            << "a scripted text answer \"out\" met the open file question \"Ouvrir\"";
        QTest::newRow("button Peut-être")
            << "the scripted button \"Peut-être\" was not offered by \"Quitter\" (Oui, Non)";
        QTest::newRow("unused") << "scripted answers never used: text \"Pad\"";
    }
    void misfitsAreReported()
    {
        const QString script = QString::fromUtf8(QTest::currentDataTag());
        QStringList told;
        {
            ScriptedDialogSeam seam;
            seam.onMisuse = [&told](const QString &what) { told << what; };
            bool ok = false;
            if (script.startsWith("item") || script.startsWith("editable")) {
                const QString item = script.section(' ', 1, 1);
                seam.answerItem(item);
                const QString chosen = seam.getItem(nullptr, "Choisir", "", {"A", "B"}, 0,
                                                    script.startsWith("editable"), &ok);
                QCOMPARE(chosen, told.isEmpty() ? item : QString());
            }
            if (script.contains(" then ")) {
                seam.answerPath("/tmp/x");
                seam.answerYes();
                seam.answerChoice("Non");
                seam.cancelNext();
                QCOMPARE(seam.getSaveFileName(nullptr, "", "", ""), "/tmp/x");
                QVERIFY(seam.question(nullptr, "", ""));
                QCOMPARE(seam.choose(nullptr, "Quitter", "", {"Oui", "Non"}, 0), 1);
                QCOMPARE(seam.getText(nullptr, "", "", "Pad", &ok), QString());
            }
            if (script == "text for a file") {
                seam.answerText("out");
                QCOMPARE(seam.getOpenFileName(nullptr, "Ouvrir", "", ""), QString());
            }
            if (script.startsWith("button")) {
                seam.answerChoice(script.section(' ', 1));
                QCOMPARE(seam.choose(nullptr, "Quitter", "", {"Oui", "Non"}, 0), 0);
            }
            if (script == "unused")
                seam.answerText("Pad");
        }
        QTEST(told.join('\n'), "misuse");
    }
};

QTEST_MAIN(TestScriptedDialogSeam)
#include "tst_scripteddialogseam.moc"
