#include "actionlinker.h"
#include "controlmanette.h"
#include "documentsession.h"
#include "filetestsupport.h"
#include "gamepadcalibration.h"
#include "gamepadconfigwidget.h"
#include "gamepaddefinder.h"
#include "interactiveoverlay.h"
#include "mappingdocument.h"
#include "overlaybindings.h"
#include "profileoperations.h"
#include "runtimetestsupport.h"
#include "scratchtree.h"
#include "scripteddialogseam.h"

#include <QtTest>
#include <QtWidgets>

// Each row: one of the three editors keeping documents edits, meets one fault, takes one way out.

const QJsonArray kCatalog = {QJsonObject{{"name", "zoom"}}, QJsonObject{{"name", "tilt"}}};
const QString kOverride = "calibration.override.json";

// What a document holds: "missing", "folder", "damaged", or what `tag` says of its content.
template <typename Tag> static QString diskState(const QString &path, const Tag &tag)
{
    const QFileInfo info(path);
    const QJsonDocument json = QJsonDocument::fromJson(readBytes(path));
    return !info.exists()    ? "missing"
           : info.isDir()    ? "folder"
           : json.isObject() ? tag(json.object())
                             : "damaged";
}

// The profile editor's overlay by the titles of its pastilles.
static QString titlesTag(const QJsonObject &overlay)
{
    QStringList titles;
    for (const QJsonValue &node : overlay["nodes"].toArray())
        titles << node["title"].toString();
    return titles.contains("Edite")   ? "edit"
           : titles.contains("Autre") ? "theirs"
           : titles.contains("Un")    ? "original"
                                      : "empty";
}

// Runs `step` as nobody in a read-only folder, or under a size limit no document fits in.
static bool runUnder(const QString &fault, const std::function<bool()> &step)
{
    const FileFault kind = fault == "full"       ? FileFault::DiskFull
                           : fault == "readonly" ? FileFault::ReadOnlyFolder
                                                 : FileFault::None;
    return runUnder(kind, step, 16);
}

// The controller and the two profiles of the row under way.
struct
{
    ControlManette *pad = nullptr;
    GamepadProfileMeta un, deux;
} fixture;

// One editor as the table drives it: it edits profile "Un" and leaves for profile "Deux".
class Subject
{
public:
    virtual ~Subject() = default;
    virtual QString document() const = 0; // the file an edit lands in
    virtual void open() = 0;
    virtual bool edit() = 0; // one edit; false when the editor refused it
    virtual QString memory() const = 0;
    virtual QString disk() const = 0;
    virtual void save() = 0;  // the coalesced save, now
    virtual bool leave() = 0; // to the other profile; true when it went
    // The editor's own "Recommencer à vide"; the linker asks as it binds instead.
    virtual void startAgain() {}
    virtual QString status() const = 0;
    virtual const EditSession &rule() const = 0; // when its coalesced save falls due
    virtual void writeTheirs() = 0;              // another process rewrites the document

protected:
    ControlManette *const pad = fixture.pad;
    const GamepadProfileMeta un = fixture.un, deux = fixture.deux;
};

class ProfileEditorSubject : public Subject
{
public:
    QString document() const override { return un.overlayPath(); }
    void open() override
    {
        m_window.setRealGamepads({pad}), select(un), m_window.setMode(GamepadDefinder::EditMode);
    }
    bool edit() override
    {
        auto *add = m_window.findChildren<QPushButton *>("gamepadAddNodeButton").value(2);
        if (!add || !add->isEnabled())
            return false;
        add->click();
        return m_window.overlay()->renameNode(m_window.overlay()->nodeCount() - 1, "Edite");
    }
    QString memory() const override { return titlesTag(m_window.overlay()->serialize()); }
    QString disk() const override { return diskState(document(), titlesTag); }
    void save() override { m_window.session()->flush(); }
    bool leave() override { return select(deux); }
    void startAgain() override { click("Recommencer à vide"); }
    // The banner's text, then its buttons shown: "text [Réessayer|...]".
    QString status() const override
    {
        QStringList shown;
        for (QPushButton *button : m_window.findChildren<QPushButton *>("gamepadSessionButton"))
            if (button->isVisibleTo(&m_window))
                shown << button->text();
        const QString text = m_window.bannerText();
        return text.isEmpty() ? text : text + " [" + shown.join('|') + "]";
    }
    void click(const QString &text)
    {
        for (QPushButton *button : m_window.findChildren<QPushButton *>())
            if (button->text() == text && button->isVisibleTo(&m_window))
                button->click();
    }
    void writeTheirs() override
    {
        writeFileAtomic(document(), readBytes(document()).replace("\"Un\"", "\"Autre\""), nullptr);
    }

private:
    bool select(const GamepadProfileMeta &meta)
    {
        QListWidget *list = m_window.profileList();
        const auto item = [&] { return list->findItems(meta.name, {}).value(0); };
        m_window.show(), list->scrollToItem(item()); // clicked: the list may change as it goes
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {},
                          list->visualItemRect(item()).center());
        QCoreApplication::processEvents(); // what the user sees: a refusal puts it back at once
        const bool shown = list->selectedItems() == QList{list->currentItem()};
        [shown] { QVERIFY2(shown, "the tile highlighted is the profile open"); }();
        return list->currentItem() == item();
    }

    const EditSession &rule() const override { return m_window.session()->session(); }
    GamepadDefinder m_window{GamepadManager::instance()};
};

class CalibrationSubject : public Subject
{
public:
    QString document() const override { return QDir(un.folder).filePath(kOverride); }
    void open() override { m_panel.setDevice(pad), show(un); }
    bool edit() override
    {
        m_panel.addGate();
        return memory() == "edit";
    }
    QString memory() const override { return tag(m_panel.editedCalibration().gates.size()); }
    QString disk() const override
    {
        return diskState(document(),
                         [](const auto &json) { return tag(json["gates"].toArray().size()); });
    }
    void save() override { m_panel.flushSave(); }
    bool leave() override { return show(deux); }
    void startAgain() override { m_panel.offerStartEmpty(); }
    QString status() const override { return m_panel.statusText(); }
    void writeTheirs() override
    {
        GamepadCalibration theirs = defaultCalibration(kGamepadAxisCount, kGamepadButtonCount);
        theirs.gates = {defaultGateSettings(0), defaultGateSettings(1), defaultGateSettings(2)};
        saveCalibrationFile(document(), theirs, {pad->name(), pad->vendorId(), pad->productId()},
                            QString(), nullptr);
    }

private:
    bool show(const GamepadProfileMeta &meta)
    {
        m_panel.setProfile(readProfileInfo(meta.folder));
        return m_panel.profile().id == meta.id;
    }
    // An edit adds a gate (two edits, two); another process writes three.
    static QString tag(qsizetype gates)
    {
        return QStringList({"original", "edit", "edit", "theirs"}).value(int(gates), "other");
    }

    const EditSession &rule() const override
    {
        return m_panel.findChild<DocumentSession *>()->session();
    }
    GamepadConfigWidget m_panel;
};

class LinkerSubject : public Subject
{
public:
    QString document() const override { return mappingDocumentPath(un.folder); }
    void open() override
    {
        m_linker.setExternalServices({{"sharedActionCatalog", kCatalog}}), show(un);
    }
    bool edit() override
    {
        auto *list = m_linker.findChild<QListWidget *>("mappingActionsList");
        for (QListWidgetItem *item : list->findItems("zoom", Qt::MatchExactly))
            Q_EMIT list->itemClicked(item);
        m_linker.onInputButtonChanged(0, true);
        return memory() == "edit";
    }
    QString memory() const override
    {
        const QVector<OverlayNode> nodes = m_linker.overlay()->nodes();
        return tag(nodes.isEmpty() ? "" : bindingActionName(nodes.first().sources.first().binding));
    }
    QString disk() const override
    {
        return diskState(document(), [](const QJsonObject &json) {
            const QByteArray bridges = QJsonDocument(json["bridges"].toArray()).toJson();
            return tag(bridges.contains("zoom") ? "zoom" : bridges.contains("tilt") ? "tilt" : "");
        });
    }
    void save() override { m_linker.flushSave(); }
    bool leave() override { return show(deux); }
    QString status() const override
    {
        return m_linker.findChild<QLabel *>("mappingActionsHint")->text();
    }
    void writeTheirs() override
    {
        InteractiveOverlay scratch;
        scratch.load(overlayOf(un)), scratch.bindActionToInput("tilt", "but_0");
        saveMappingDocument(un.folder, scratch.nodes(), {}, kCatalog);
    }

private:
    // The edit binds "zoom" to the button; another process binds "tilt".
    static QString tag(const QString &action)
    {
        return action == "zoom" ? "edit" : action == "tilt" ? "theirs" : "original";
    }
    bool show(const GamepadProfileMeta &meta)
    {
        m_linker.loadGamepadSnapshot(meta.id, meta.name, meta.deviceNames, overlayOf(meta),
                                     meta.imagePath(), meta.folder);
        return m_linker.profileId() == meta.id;
    }

    const EditSession &rule() const override { return m_linker.session()->session(); }
    // Looking at a hidden panel's overlay builds the snapshot it was given.
    mutable ActionLinker m_linker;
};

class TestEditingFaults : public QObject
{
    Q_OBJECT

    QTemporaryDir m_home;
    const QString m_picture = m_home.filePath("pad.png");
    std::unique_ptr<VirtualJoysticks> m_joysticks;
    std::unique_ptr<ControlManette> m_pad;

    // A profile with a pastille titled like it on button 0, and a calibration override of its own.
    GamepadProfileMeta seed(const QString &name)
    {
        InteractiveOverlay scratch;
        const int node = scratch.createNode(ElementKind::Button, name, QPoint(300, 300));
        scratch.setNodeSource(node, slotLabels(ElementKind::Button).first(),
                              {false, "gamepade", 0, 1, "but_0"});
        GamepadProfileMeta meta;
        createProfile({name, m_picture, {}, 0, 0, scratch.serialize()}, &meta, nullptr, nullptr);
        meta.calibrationMode = "override";
        writeProfileMeta(&meta, nullptr);
        saveCalibrationFile(QDir(meta.folder).filePath(kOverride),
                            defaultCalibration(kGamepadAxisCount, kGamepadButtonCount),
                            {m_pad->name(), m_pad->vendorId(), m_pad->productId()},
                            meta.id.toString(QUuid::WithoutBraces), nullptr);
        return meta;
    }

private slots:
    void initTestCase()
    {
        QVERIFY(useTestHome(m_home));
        useThrowAwayHome(m_home), registerCalibrationMetaTypes();
        m_joysticks = std::make_unique<VirtualJoysticks>();
        GamepadManager::instance()->setAutoDetectGamePad(false);
        QVERIFY(writeBytes(m_picture, encoded("PNG", {400, 240}, QColor(52, 74, 92))));
    }

    void init()
    {
        qApp->setProperty("kx.currentLogin", "tester"), removeScratchTree(configurationRoot());
        m_joysticks->backend.connectController(0, padIdentity("Pad A"));
        m_pad = std::make_unique<ControlManette>(0), m_pad->poll();
        fixture.pad = m_pad.get(), fixture.un = seed("Un");
        fixture.deux = seed("Deux");
    }

    void cleanup()
    {
        chmod(QFile::encodeName(fixture.un.folder).constData(), 0755); // the one made read-only
        m_pad.reset();
    }

    void profileEditorBanner_data()
    {
        QTest::addColumn<QString>("fault");
        QTest::addColumn<QString>("buttons"); // the banner's, after the failed save
        QTest::addColumn<QString>("way");
        QTest::addColumn<QString>("after"); // the edit in memory, then the document
        const QString failed = "[Réessayer|Abandonner les modifications]";
        const QString lost = "[Enregistrer comme nouveau profil|Abandonner les modifications]";
        const QString discard = "Abandonner les modifications", retry = "Réessayer";
        QTest::newRow("retried") << "readonly" << failed << retry << "edit edit";
        QTest::newRow("discarded") << "readonly" << failed << discard << "original original";
        QTest::newRow("gone, discarded") << "deleted" << lost << discard << "edit missing";
    }

    // Each way out of a failed save the profile editor's banner offers does what it says.
    void profileEditorBanner()
    {
        QFETCH(QString, fault);
        QFETCH(QString, way);
        ProfileEditorSubject under;
        under.open();
        QVERIFY(under.edit());
        const QByteArray folder = QFile::encodeName(QFileInfo(under.document()).path());
        QVERIFY(fault == "deleted" ? removeScratchTree(folder) : !chmod(folder.constData(), 0555));
        ScriptedDialogs dialogs; // the failure's box
        runUnder(fault, [&] { return under.save(), true; });
        QTEST(under.status().mid(under.status().lastIndexOf('[')), "buttons");
        chmod(folder.constData(), 0755), under.click(way);
        QTEST(under.memory() + ' ' + under.disk(), "after");
        QVERIFY(under.status().isEmpty() && (!QFileInfo::exists(folder) || fault != "deleted"));
    }

    static std::unique_ptr<Subject> subject(const QString &editor)
    {
        if (editor == "profile editor")
            return std::make_unique<ProfileEditorSubject>();
        if (editor == "calibration panel")
            return std::make_unique<CalibrationSubject>();
        return std::make_unique<LinkerSubject>();
    }

    // The linker saves at most 250 ms after the first edit; the others wait for a pause.
    void saveRules_data()
    {
        using C = EditSession::Coalescing;
        QTest::addColumn<std::pair<int, C>>("rule"); // the delay, and how edits coalesce
        QTest::newRow("profile editor") << std::pair(250, C::RestartOnEdit);
        QTest::newRow("calibration panel") << std::pair(220, C::RestartOnEdit);
        QTest::newRow("action linker") << std::pair(250, C::KeepFirstDeadline);
    }

    void saveRules()
    {
        const std::unique_ptr<Subject> under = subject(QTest::currentDataTag());
        QTEST(std::pair(under->rule().delayMs(), under->rule().coalescing()), "rule");
    }

    void faults_data()
    {
        QTest::addColumn<QString>("editor");
        QTest::addColumn<QString>("fault");
        QTest::addColumn<QString>("way");     // the answer that settles it
        QTest::addColumn<QString>("prompts"); // kind:title of every question, in order
        QTest::addColumn<QString>("memory");  // the edit in memory after the save
        QTest::addColumn<QString>("disk");    // the document afterwards
        QTest::addColumn<bool>("left");       // the editor went to the other profile

        const QString save = "critical:Sauvegarde", load = "critical:Chargement";
        const QString leave = "choice:Modifications non enregistrées";
        const QString conflict = "choice:Fichier modifié ailleurs";
        const QString again = "question:Recommencer à vide";
        const auto row = [](const QString &editor, const QString &fault, const QString &way,
                            const QStringList &prompts, const QString &memory, const QString &disk,
                            bool left) {
            QTest::addRow("%s, %s, %s", qPrintable(editor), qPrintable(fault), qPrintable(way))
                << editor << fault << way << prompts.join(' ') << memory << disk << left;
        };
        for (const QString editor : {"profile editor", "calibration panel", "action linker"}) {
            // Only the profile editor shows a failure in a box; the panels' first question settles.
            const bool boxes = editor == "profile editor";
            const QStringList failed = boxes ? QStringList{save, leave} : QStringList{leave};
            for (const auto &[fault, disk] : {std::pair{"readonly", "original"},
                                              {"full", "original"},
                                              {"deleted", "missing"},
                                              {"replaced", "folder"}}) {
                row(editor, fault, "Rester", failed, "edit", disk, false);
                row(editor, fault, "Abandonner les modifications", failed, "edit", disk, true);
            }
            for (const QString fault : {"readonly", "full"}) // only these can be retried
                row(editor, fault, "Réessayer", failed, "edit", "edit", true);
            row(editor, "changed", "Écraser", {conflict}, "edit", "edit", true);
            row(editor, "changed", "Recharger", {conflict}, "theirs", "theirs", true);
            row(editor, "changed", "Annuler", {conflict, leave}, "edit", "theirs", false);
            const QStringList damaged = boxes ? QStringList{load, again} : QStringList{again};
            // Refused: the profile editor shows no pastille, the others the base or bare pastilles.
            const char *refused = boxes ? "empty" : "original";
            row(editor, "damaged", "yes", damaged, "edit", "edit", true);
            row(editor, "damaged", "no", damaged, refused, "damaged", true);
        }
        row("profile editor", "deleted", "Enregistrer comme nouveau profil", {save, leave}, "edit",
            "missing", true);
    }

    void faults()
    {
        QFETCH(QString, editor);
        QFETCH(QString, fault);
        QFETCH(QString, way);
        const std::unique_ptr<Subject> under = subject(editor);
        const QString document = under->document(), folder = QFileInfo(document).path();
        ScriptedDialogs dialogs;
        QVERIFY(fault != "damaged" || writeFileAtomic(document, "{ damaged", nullptr));
        way == "yes" || way == "no" ? dialogs.answerYes(way == "yes") : dialogs.answerChoice(way);
        under->open();

        if (fault == "damaged")
            under->startAgain();
        QCOMPARE(under->edit(), way != "no");
        const QMap<QString, std::function<bool()>> faultOf = {
            {"deleted", [&] { return removeScratchTree(folder); }},
            {"replaced", [&] { return QFile::remove(document) && QDir().mkdir(document); }},
            {"changed", [&] { return under->writeTheirs(), true; }},
            {"readonly", [&] { return !chmod(QFile::encodeName(folder).constData(), 0555); }}};
        QVERIFY(faultOf.value(fault, [] { return true; })());
        runUnder(fault, [&] {
            under->save();
            // Another edit meets the same failure: it is not told twice.
            if (fault == "readonly" || fault == "full")
                under->edit(), under->save();
            return true;
        });
        QTEST(under->memory(), "memory");
        if ((fault != "changed" || way == "Annuler") && !(fault == "damaged" && way == "yes"))
            QVERIFY2(!under->status().isEmpty(), "the editor says what went wrong");
        // The way out runs with the fault still there, but a retry, which follows a repair.
        QVERIFY(way != "Réessayer" || !chmod(QFile::encodeName(folder).constData(), 0755));
        QTEST(runUnder(way == "Réessayer" ? "" : fault, [&] { return under->leave(); }), "left");

        const QStringList kinds = {"text",        "item",    "open",     "save",     "folder",
                                   "information", "warning", "critical", "question", "choice"};
        QStringList prompts;
        for (const ScriptedDialogSeam::Prompt &prompt : dialogs.prompts())
            prompts << kinds.value(int(prompt.kind)) + ":" + prompt.title;
        QTEST(prompts.join(' '), "prompts");
        QTEST(under->disk(), "disk");

        QStringList profiles; // "name:pastilles"; only saving as a new profile makes a copy of Un
        for (const GamepadProfileMeta &meta : readProfileEntries())
            profiles << meta.name + ':' + titlesTag(overlayOf(meta));
        const bool savedAsNew = way == "Enregistrer comme nouveau profil";
        QCOMPARE(profiles.filter("Un ("), QStringList(savedAsNew ? 1 : 0, "Un (récupéré):edit"));
    }
};

QTEST_MAIN(TestEditingFaults)
#include "tst_editingfaults.moc"
