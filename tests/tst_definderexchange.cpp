#include "filetestsupport.h"
#include "gamepaddefinder.h"
#include "interactiveoverlay.h"
#include "logcapture.h"
#include "overlayrender.h"
#include "profileexchange.h"
#include "profileoperations.h"
#include "runtimetestsupport.h"
#include "scratchtree.h"
#include "scripteddialogseam.h"

#include <QtTest>
#include <QtWidgets>

#include <memory>

using Kind = ScriptedDialogSeam::Kind;

class TestDefinderExchange : public QObject
{
    Q_OBJECT

    QString path(const QString &name) const { return QDir(m_home.path()).filePath(name); }

    // A profile with one pastille over a small picture, linked to `linked` when given.
    GamepadProfileMeta seed(const QString &name, const QStringList &linked = {})
    {
        QImage image(120, 80, QImage::Format_ARGB32);
        image.fill(QColor(40, 60, 80, 200)), image.save(path("picture.png"));
        InteractiveOverlay scratch;
        scratch.resize(400, 300);
        scratch.createNode(ElementKind::Button, QStringLiteral("A"), QPoint(60, 40));
        GamepadProfileMeta meta;
        createProfile({name, path("picture.png"), {}, 0, 0, scratch.serialize()}, &meta, nullptr,
                      nullptr);
        meta.deviceNames = linked;
        writeProfileMeta(&meta, nullptr);
        return meta;
    }

    QTemporaryDir m_home;
    VirtualJoysticks m_joysticks;

private slots:
    void initTestCase()
    {
        useThrowAwayHome(m_home), GamepadManager::instance()->setAutoDetectGamePad(false);
    }

    void init()
    {
        qApp->setProperty("kx.currentLogin", "tester"), removeScratchTree(configurationRoot());
        QGuiApplication::clipboard()->clear();
    }

    void roundTrip_data()
    {
        QTest::addColumn<QString>("way"); // file, mime, text
        QTest::newRow("export and import") << "file";
        QTest::newRow("copy and paste") << "mime";
        QTest::newRow("copy, paste as plain text") << "text";
    }

    void roundTrip()
    {
        QFETCH(QString, way);
        const GamepadProfileMeta original = seed(QStringLiteral("Alpha"));
        ScriptedDialogs dialogs;
        GamepadDefinder w;
        w.onListSelectionChanged(0);
        // An edit not saved yet: the export carries it, the copy carries the saved file.
        w.overlay()->createNode(ElementKind::Button, QStringLiteral("B"), QPoint(200, 100));
        w.onOverlayDirty();
        const QJsonObject expected = way == "file" ? w.overlay()->serialize() : overlayOf(original);
        QSignalSpy catalog(&w, &GamepadDefinder::profilesCatalogChanged);
        if (way == "file") {
            dialogs.answerPath(path("out.zelto.json")), w.actionExport();
            QCOMPARE(dialogs.prompts().first().value, QStringLiteral("Alpha.zelto.json"));
            dialogs.answerPath(path("out.zelto.json")), w.actionImport();
        } else {
            w.actionCopy();
            QClipboard *clipboard = QGuiApplication::clipboard();
            QVERIFY(clipboard->mimeData()->hasFormat(kExchangeMimeType));
            if (way == "text")
                clipboard->setText(clipboard->text());
            w.actionPaste();
        }
        const GamepadProfileMeta copy = w.entries().value(1); // none: no name, no overlay
        QVERIFY(copy.name == original.name && overlayOf(copy) == expected);
        QCOMPARE(readBytes(copy.imagePath()), readBytes(original.imagePath()));
        QVERIFY(w.profileList()->currentRow() == 1 && catalog.count() >= 1);
    }

    void refusals_data()
    {
        QTest::addColumn<QString>("action");
        QTest::addColumn<QString>("box"); // its title, a line break, its text
        // Export, copy, import and paste meet a profile linked to controllers.
        const auto row = [](const char *action, const char *title, const char *text) {
            QTest::newRow(action) << QString(action) << QString(title) + '\n' + text;
        };
        row("Export", "Export",
            "Ce profil est associé à une ou plusieurs manettes. Le copier/coller n’est "
            "disponible que pour les profils non liés.");
        row("Copy", "Copier",
            "Ce profil est associé à « Pad A, Pad B ». Le copier/coller est réservé aux "
            "profils non liés.");
        row("Copy unreadable picture", "Copier",
            "Impossible d’ouvrir <profil>/image.png (Is a directory)");
        row("Import", "Import",
            "Ce fichier est lié à une ou plusieurs manettes. Le coller/importe n’est "
            "autorisé que pour des profils non liés.");
        row("Import missing", "Import", "Impossible d’ouvrir @/import missing.zelto.json");
        row("Import array", "Import",
            "JSON invalide dans @/import array.zelto.json (le document n’est pas un objet)");
        row("Paste", "Coller",
            "Ce profil est lié à une ou plusieurs manettes. Le coller n’est autorisé que "
            "pour des profils non liés.");
        row("Paste empty", "Coller", "Aucune configuration Zelto trouvée dans le presse‑papier.");
        row("Paste foreign", "Coller",
            "Le presse‑papier ne contient pas de configuration Zelto valide.");
        // The creation's own failure is titled as an import's.
        row("Paste unlinked, no login", "Import",
            "Impossible de créer le gamepad à partir des données.\nAucun dossier utilisateur "
            "n'est disponible pour ce profil.");
    }

    void refusals() // Nothing is written, created or put on the clipboard; the box says why.
    {
        QFETCH(QString, action);
        const bool unreadable = action.endsWith("picture"); // unlinked, its picture a folder
        GamepadProfileMeta linked =
            seed("Lié", unreadable ? QStringList() : QStringList{"Pad A", "Pad B"});
        QVERIFY(!unreadable ||
                (QFile::remove(linked.imagePath()) && QDir().mkdir(linked.imagePath())));
        if (action.endsWith("no login"))
            linked.deviceNames.clear();
        const QByteArray document =
            QJsonDocument(buildExchangeDocument(linked, overlayOf(linked), nullptr)).toJson();
        QVERIFY(writeFileAtomic(path("import.zelto.json"), document, nullptr));
        QClipboard *clipboard = QGuiApplication::clipboard();
        if (action != "Paste empty")
            clipboard->setText(action == "Paste" || action.endsWith("no login") ? QString(document)
                               : action == "Paste foreign" ? "{\"type\":\"zeltogamepad\"}"
                                                           : "before");
        ScriptedDialogs dialogs;
        GamepadDefinder w;
        w.onListSelectionChanged(0);
        QVERIFY(action != "Import array" || writeBytes(path("import array.zelto.json"), "[]"));
        if (action.startsWith("Import") || action == "Export")
            dialogs.answerPath(path(action.toLower() + ".zelto.json"));
        if (action.endsWith("no login"))
            qApp->setProperty("kx.currentLogin", QString());
        QVERIFY(QMetaObject::invokeMethod(&w, qPrintable("action" + action.section(' ', 0, 0))));

        const QString box = dialogs.prompts().last().title + '\n' + dialogs.prompts().last().text;
        QTEST(QString(box).replace(linked.folder, "<profil>").replace(m_home.path(), "@"), "box");
        QVERIFY(!QFileInfo::exists(path("export.zelto.json")) && w.entries().size() == 1);
        if (action.startsWith("Copy"))
            QCOMPARE(clipboard->text(), QStringLiteral("before"));
    }

    void snapshots_data()
    {
        QTest::addColumn<bool>("overlayLost");
        QTest::newRow("every profile") << false;
        QTest::newRow("one overlay file deleted") << true;
    }

    void snapshots() // The batch, then the current profile alone, proposed in the batch's folder.
    {
        QFETCH(bool, overlayLost);
        seed(QStringLiteral("Al/pha"));
        const GamepadProfileMeta beta = seed(QStringLiteral("Beta"));
        QVERIFY(!overlayLost || QFile::remove(beta.overlayPath()));
        const QString folder = path(QStringLiteral("shots%1").arg(overlayLost));
        ScriptedDialogs dialogs;
        dialogs.answerPath(folder), dialogs.answerPath(path("one.png"));
        LogCapture log; // a profile left out is logged, as is a folder that cannot be made
        auto w = std::make_unique<GamepadDefinder>();
        w->onListSelectionChanged(w->entries().first().id == beta.id ? 1 : 0);
        w->actionSnapshotAll(); // told once its steps are done, the window answering meanwhile
        QCOMPARE(dialogs.prompts().last().kind, Kind::Folder);
        QTRY_VERIFY(dialogs.prompts().last().kind != Kind::Folder);
        const ScriptedDialogSeam::Prompt box = dialogs.prompts().last();
        QCOMPARE(box.kind, overlayLost ? Kind::Warning : Kind::Information);
        const QString lost = "Snapshots générés : 1\nErreurs :\nBeta : "; // then Beta's error
        QCOMPARE(box.text.left(lost.size()), overlayLost ? lost : "Snapshots générés : 2");
        QCOMPARE(QDir(folder).entryList(QDir::Files).size(), overlayLost ? 1 : 2);
        const QString direct = path(QStringLiteral("direct%1").arg(overlayLost)); // same files
        QVERIFY(exportSnapshots(w->entries(), direct, nullptr, nullptr,
                                w->entries().at(w->currentRow()).id, w->overlay()->serialize()));
        QCOMPARE(readBytes(folder + "/Al_pha.png"), readBytes(direct + "/Al_pha.png"));
        QCOMPARE(log.lines.filter("issue error=Beta : ").size(), 2 * overlayLost); // both batches
        QVERIFY(!exportSnapshots(w->entries(), folder + "/Al_pha.png/x", nullptr, nullptr));
        QVERIFY(log.lines.join(' ').contains("issue error=Impossible de créer le dossier"));

        w->overlay()->resize(500, 300); // the live overlay is drawn, not the saved one
        w->actionSnapshot();
        QCOMPARE(dialogs.prompts().last().value, QDir(folder).filePath("Al_pha.png"));
        QTRY_COMPARE(QImage(path("one.png")).size(), QSize(500, 300));
        const QImage drawn = renderOverlayImage(w->overlay()->serialize(),
                                                w->entries().at(w->currentRow()).imagePath());
        QVERIFY(drawn.save(path("saved.png"), "PNG")); // the file as it was written before
        QCOMPARE(readBytes(path("one.png")), readBytes(path("saved.png")));

        // Drawn over the next loop turns; a second request, or the window going, finishes it now.
        const QString second = folder + "/second.png", third = folder + "/third.png";
        for (const QString &file : {second, third})
            dialogs.answerPath(file), w->actionSnapshot();
        QCOMPARE(QImage(second).size(), QSize(500, 300));
        w.reset();
        QCOMPARE(QImage(third).size(), QSize(500, 300));
    }
};

QTEST_MAIN(TestDefinderExchange)
#include "tst_definderexchange.moc"
