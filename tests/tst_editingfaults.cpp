#include "actionlinker.h"
#include "controlmanette.h"
#include "documentsession.h"
#include "gamepadcalibration.h"
#include "gamepadconfigwidget.h"
#include "gamepaddefinder.h"
#include "interactiveoverlay.h"
#include "jsonfile.h"
#include "mappingdocument.h"
#include "overlaybindings.h"
#include "profileoperations.h"
#include "runtimetestsupport.h"
#include "scripteddialogseam.h"

#include <QJsonDocument>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QtTest>

#include <algorithm>
#include <csignal>
#include <memory>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

// One table of what a misbehaving disk, folder or colleague does to each of the three editors that
// keep documents: the profile editor (overlay, mapping and metadata of a profile), the calibration
// panel (the profile's calibration override) and the action linker (the profile's mapping
// document). Each row makes one edit, meets one fault, takes one way out, and checks the questions
// asked, the edit in memory, the bytes on disk and whether the editor left the profile.

namespace {

const QJsonArray kCatalog = {QJsonObject{{"name", "zoom"}}, QJsonObject{{"name", "tilt"}}};

bool writeBytes(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

QByteArray readBytes(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// What a document holds, in the table's words: "missing", "folder", "damaged", or what `tag` says
// of its content ("original", "edit", "theirs").
QString diskState(const QString &path, const std::function<QString(const QJsonObject &)> &tag)
{
    const QFileInfo info(path);
    const QJsonDocument json = QJsonDocument::fromJson(readBytes(path));
    return !info.exists()    ? "missing"
           : info.isDir()    ? "folder"
           : json.isObject() ? tag(json.object())
                             : "damaged";
}

QString titlesTag(const QStringList &titles)
{
    if (titles.contains("Edite"))
        return "edit";
    if (titles.contains("Autre"))
        return "theirs";
    return titles.contains("Un") ? "original" : "empty";
}

GamepadDeviceIdentity identity(const ControlManette *pad)
{
    return {pad->name(), pad->vendorId(), pad->productId()};
}

// Runs `step` under the fault: as an unprivileged user in a read-only folder (root writes
// anywhere), or with a file size limit that a document's first bytes exceed.
bool runUnder(const QString &fault, const std::function<bool()> &step)
{
    rlimit saved;
    getrlimit(RLIMIT_FSIZE, &saved);
    const rlimit small{16, saved.rlim_max};
    const bool limited = fault == "full" && setrlimit(RLIMIT_FSIZE, &small) == 0;
    const bool asNobody = fault == "readonly" && geteuid() == 0 && seteuid(65534) == 0;
    const bool result = step();
    if ((asNobody && seteuid(0) != 0) || (limited && setrlimit(RLIMIT_FSIZE, &saved) != 0))
        qFatal("cannot lift the fault");
    return result;
}

} // namespace

// One editor as the table drives it: it edits profile "Un" and leaves for profile "Deux".
class Subject
{
public:
    Subject(ControlManette *pad, const GamepadProfileMeta &un, const GamepadProfileMeta &deux)
        : pad(pad), un(un), deux(deux)
    {
    }
    virtual ~Subject() = default;
    virtual QString document() const = 0; // the file an edit lands in
    virtual void open() = 0;
    virtual bool edit() = 0; // one edit; false when the editor refused it
    virtual QString memory() const = 0;
    virtual QString disk() const = 0;
    virtual void save() = 0;       // the coalesced save, now
    virtual bool leave() = 0;      // to the other profile; true when it went
    virtual void startAgain() = 0; // the editor's own "Recommencer à vide", when it has one
    virtual QString status() const = 0;
    virtual void writeTheirs() = 0; // another process rewrites the document

protected:
    ControlManette *pad;
    GamepadProfileMeta un;
    GamepadProfileMeta deux;
};

class TestEditingFaults : public QObject
{
    Q_OBJECT

    QTemporaryDir m_home;
    QString m_picture;
    std::unique_ptr<VirtualJoysticks> m_joysticks;
    std::unique_ptr<ControlManette> m_pad;
    GamepadProfileMeta m_un;
    GamepadProfileMeta m_deux;

    // A profile over a picture with one button pastille titled like the profile, on button 0,
    // in override calibration mode with an override file of its own.
    GamepadProfileMeta seed(const QString &name)
    {
        InteractiveOverlay scratch;
        scratch.resize(900, 700);
        scratch.setBackgroundPixmap(QPixmap(m_picture));
        const int node = scratch.createNode(ElementKind::Button, name, QPoint(300, 300));
        scratch.setNodeSource(node, slotLabels(ElementKind::Button).first(),
                              {false, "gamepade", 0, 1, "but_0"});
        GamepadProfileMeta meta;
        QString title, error;
        if (!createProfile({name, m_picture, {}, 0, 0, scratch.serialize()}, &meta, &title, &error))
            qWarning() << "seed failed" << error;
        meta.calibrationMode = "override";
        writeProfileMeta(&meta, nullptr);
        saveCalibrationFile(QDir(meta.folder).filePath("calibration.override.json"),
                            defaultCalibration(kGamepadAxisCount, kGamepadButtonCount),
                            identity(m_pad.get()), meta.id.toString(QUuid::WithoutBraces), nullptr);
        return meta;
    }

    std::unique_ptr<Subject> subject(const QString &editor);

private slots:
    void initTestCase()
    {
        QVERIFY(m_home.isValid());
        // The unprivileged user must reach the folders it is refused to write in.
        QVERIFY(chmod(QFile::encodeName(m_home.path()).constData(), 0755) == 0);
        umask(022);
        useThrowAwayHome(m_home);
        std::signal(SIGXFSZ, SIG_IGN); // a write beyond the file size limit fails instead
        QLoggingCategory::setFilterRules("kx.plugin.gamepad.ui.warning=false");
        registerCalibrationMetaTypes();
        m_joysticks = std::make_unique<VirtualJoysticks>();
        GamepadManager::instance()->setAutoDetectGamePad(false);
        QImage image(400, 240, QImage::Format_ARGB32);
        image.fill(QColor(52, 74, 92));
        m_picture = m_home.filePath("pad.png");
        QVERIFY(image.save(m_picture));
    }

    void init()
    {
        qApp->setProperty("kx.currentLogin", "tester");
        QDir(configurationRoot()).removeRecursively();
        m_joysticks->backend.connectController(0, padIdentity("Pad A"));
        m_pad = std::make_unique<ControlManette>(0);
        m_pad->poll();
        m_un = seed("Un");
        m_deux = seed("Deux");
    }

    void cleanup()
    {
        for (const GamepadProfileMeta &meta : {m_un, m_deux})
            chmod(QFile::encodeName(meta.folder).constData(), 0755);
        m_pad.reset();
    }

    void faults_data();
    void faults();
};

class ProfileEditorSubject : public Subject
{
public:
    ProfileEditorSubject(ControlManette *pad, const GamepadProfileMeta &un,
                         const GamepadProfileMeta &deux)
        : Subject(pad, un, deux)
    {
        m_window.setRealGamepads({pad});
    }
    QString document() const override { return un.overlayPath(); }
    void open() override
    {
        m_window.profileList()->setCurrentRow(row(un));
        m_window.setMode(GamepadDefinder::EditMode);
    }
    bool edit() override
    {
        auto *add = m_window.findChildren<QPushButton *>("gamepadAddNodeButton").value(2);
        if (!add || !add->isEnabled())
            return false;
        add->click();
        return m_window.overlay()->renameNode(m_window.overlay()->nodeCount() - 1, "Edite");
    }
    QString memory() const override
    {
        QStringList titles;
        for (const OverlayNode &node : m_window.overlay()->nodes())
            titles << node.title;
        return titlesTag(titles);
    }
    QString disk() const override
    {
        return diskState(document(), [](const QJsonObject &json) {
            QStringList titles;
            for (const QJsonValue &node : json["nodes"].toArray())
                titles << node["title"].toString();
            return titlesTag(titles);
        });
    }
    void save() override { m_window.session()->flush(); }
    bool leave() override
    {
        m_window.profileList()->setCurrentRow(row(deux));
        return m_window.currentRow() == row(deux);
    }
    void startAgain() override
    {
        for (QPushButton *button : m_window.findChildren<QPushButton *>()) {
            if (button->text() == "Recommencer à vide" && button->isVisibleTo(&m_window))
                button->click();
        }
    }
    QString status() const override { return m_window.bannerText(); }
    void writeTheirs() override
    {
        writeBytes(document(), readBytes(document()).replace("\"Un\"", "\"Autre\""));
    }

private:
    int row(const GamepadProfileMeta &meta) const
    {
        const QList<GamepadProfileMeta> &all = m_window.entries();
        return int(std::find_if(all.begin(), all.end(),
                                [&](const auto &entry) { return entry.folder == meta.folder; }) -
                   all.begin());
    }

    GamepadDefinder m_window{GamepadManager::instance()};
};

class CalibrationSubject : public Subject
{
public:
    using Subject::Subject;
    QString document() const override
    {
        return QDir(un.folder).filePath("calibration.override.json");
    }
    void open() override
    {
        m_panel.setDevice(pad);
        m_panel.setProfile(readProfileInfo(un.folder));
    }
    bool edit() override
    {
        const qsizetype before = m_panel.editedCalibration().gates.size();
        m_panel.addGate();
        return m_panel.editedCalibration().gates.size() == before + 1;
    }
    QString memory() const override { return tag(m_panel.editedCalibration().gates.size()); }
    QString disk() const override
    {
        return diskState(document(), [this](const QJsonObject &) {
            GamepadCalibration calibration;
            if (!loadCalibrationFile(document(), &calibration, nullptr, kGamepadAxisCount,
                                     kGamepadButtonCount))
                return QString("damaged");
            return tag(calibration.gates.size());
        });
    }
    void save() override { m_panel.flushSave(); }
    bool leave() override
    {
        m_panel.setProfile(readProfileInfo(deux.folder));
        return m_panel.profile().id == deux.id;
    }
    void startAgain() override { m_panel.offerStartEmpty(); }
    QString status() const override { return m_panel.statusText(); }
    void writeTheirs() override
    {
        GamepadCalibration theirs = defaultCalibration(kGamepadAxisCount, kGamepadButtonCount);
        theirs.gates = {defaultGateSettings(0), defaultGateSettings(1), defaultGateSettings(2)};
        saveCalibrationFile(document(), theirs, identity(pad), QString(), nullptr);
    }

private:
    // An edit adds a gate (two edits, two); another process writes three.
    static QString tag(qsizetype gates)
    {
        return QStringList({"original", "edit", "edit", "theirs"}).value(int(gates), "other");
    }

    GamepadConfigWidget m_panel;
};

class LinkerSubject : public Subject
{
public:
    using Subject::Subject;
    QString document() const override { return mappingDocumentPath(un.folder); }
    void open() override
    {
        m_linker.setExternalServices({{"sharedActionCatalog", kCatalog}});
        show(un);
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
        return tag(nodes.isEmpty() ? QString()
                                   : bindingActionName(nodes.first().sources.first().binding));
    }
    QString disk() const override
    {
        return diskState(document(), [](const QJsonObject &json) {
            const QByteArray bridges = QJsonDocument(json["bridges"].toArray()).toJson();
            return tag(bridges.contains("zoom") ? "zoom" : bridges.contains("tilt") ? "tilt" : "");
        });
    }
    void save() override { m_linker.flushSave(); }
    bool leave() override
    {
        show(deux);
        return m_linker.profileId() == deux.id;
    }
    void startAgain() override {} // the linker asks when an input is about to bind
    QString status() const override
    {
        return m_linker.findChild<QLabel *>("mappingActionsHint")->text();
    }
    void writeTheirs() override
    {
        InteractiveOverlay scratch;
        scratch.load(overlayOf(un));
        scratch.bindActionToInput("tilt", "but_0");
        saveMappingDocument(un.folder, scratch.nodes(), {}, kCatalog);
    }

private:
    // The edit binds "zoom" to the button; another process binds "tilt".
    static QString tag(const QString &action)
    {
        return action == "zoom" ? "edit" : action == "tilt" ? "theirs" : "original";
    }
    static QJsonObject overlayOf(const GamepadProfileMeta &meta)
    {
        return QJsonDocument::fromJson(readBytes(meta.overlayPath())).object();
    }
    void show(const GamepadProfileMeta &meta)
    {
        m_linker.loadGamepadSnapshot(meta.id, meta.name, meta.deviceNames, overlayOf(meta),
                                     meta.imagePath(), meta.folder);
    }

    ActionLinker m_linker;
};

std::unique_ptr<Subject> TestEditingFaults::subject(const QString &editor)
{
    if (editor == "profile editor")
        return std::make_unique<ProfileEditorSubject>(m_pad.get(), m_un, m_deux);
    if (editor == "calibration panel")
        return std::make_unique<CalibrationSubject>(m_pad.get(), m_un, m_deux);
    return std::make_unique<LinkerSubject>(m_pad.get(), m_un, m_deux);
}

void TestEditingFaults::faults_data()
{
    QTest::addColumn<QString>("editor");
    QTest::addColumn<QString>("fault");
    QTest::addColumn<QString>("way");     // the answer that settles it
    QTest::addColumn<QString>("prompts"); // kind:title of every question, in order
    QTest::addColumn<QString>("memory");  // the edit in memory after the save
    QTest::addColumn<QString>("disk");    // the document afterwards
    QTest::addColumn<bool>("left");       // the editor went to the other profile

    const QString save = "critical:Sauvegarde";
    const QString leave = "choice:Modifications non enregistrées";
    const QString conflict = "choice:Fichier modifié ailleurs";
    const QString again = "question:Recommencer à vide";
    const QString load = "critical:Chargement";
    const auto row = [](const QString &editor, const QString &fault, const QString &way,
                        const QStringList &prompts, const char *memory, const char *disk,
                        bool left) {
        QTest::addRow("%s, %s, %s", qPrintable(editor), qPrintable(fault), qPrintable(way))
            << editor << fault << way << prompts.join(' ') << QString(memory) << QString(disk)
            << left;
    };
    for (const QString editor : {"profile editor", "calibration panel", "action linker"}) {
        // The profile editor shows a failure in a box once; the panels show it in their status
        // line (and the linker in its log): their first question is the one that settles it.
        const bool boxes = editor == "profile editor";
        const QStringList failed = boxes ? QStringList{save, leave} : QStringList{leave};
        for (const QString fault : {"readonly", "full"}) {
            row(editor, fault, "Rester", failed, "edit", "original", false);
            row(editor, fault, "Abandonner les modifications", failed, "edit", "original", true);
            row(editor, fault, "Réessayer", failed, "edit", "edit", true);
        }
        row(editor, "deleted", "Rester", failed, "edit", "missing", false);
        row(editor, "deleted", "Abandonner les modifications", failed, "edit", "missing", true);
        row(editor, "replaced", "Rester", failed, "edit", "folder", false);
        row(editor, "replaced", "Abandonner les modifications", failed, "edit", "folder", true);
        row(editor, "changed", "Écraser", {conflict}, "edit", "edit", true);
        row(editor, "changed", "Recharger", {conflict}, "theirs", "theirs", true);
        row(editor, "changed", "Annuler", {conflict, leave}, "edit", "theirs", false);
        const QStringList damaged = boxes ? QStringList{load, again} : QStringList{again};
        // The profile editor starts again with no pastille; the calibration override with a copy
        // of the base; the linker with the pastilles and no action.
        const char *refused = boxes ? "empty" : "original";
        row(editor, "damaged", "yes", damaged, "edit", "edit", true);
        row(editor, "damaged", "no", damaged, refused, "damaged", true);
    }
    row("profile editor", "deleted", "Enregistrer comme nouveau profil", {save, leave}, "edit",
        "missing", true);
}

void TestEditingFaults::faults()
{
    QFETCH(QString, editor);
    QFETCH(QString, fault);
    QFETCH(QString, way);
    std::unique_ptr<Subject> under = subject(editor);
    const QString document = under->document();
    const QString folder = QFileInfo(document).path();
    ScriptedDialogs dialogs;
    if (fault == "damaged") {
        QVERIFY(writeBytes(document, "{ damaged"));
        dialogs.answerYes(way == "yes");
    } else {
        dialogs.answerChoice(way);
    }
    under->open();

    if (fault == "damaged") {
        QVERIFY(!under->status().isEmpty());
        under->startAgain();
        QCOMPARE(under->edit(), way == "yes");
    } else {
        QVERIFY(under->edit());
    }
    if (fault == "deleted")
        QVERIFY(QDir(folder).removeRecursively());
    if (fault == "replaced")
        QVERIFY(QFile::remove(document) && QDir().mkdir(document));
    if (fault == "changed")
        under->writeTheirs();
    if (fault == "readonly")
        QVERIFY(chmod(QFile::encodeName(folder).constData(), 0555) == 0);
    runUnder(fault, [&] {
        under->save();
        // Another edit meets the same failure: it is not told twice.
        if (fault == "readonly" || fault == "full") {
            under->edit();
            under->save();
        }
        return true;
    });
    QTEST(under->memory(), "memory");
    const bool unsettled = fault != "changed" || way == "Annuler";
    if (unsettled && !(fault == "damaged" && way == "yes"))
        QVERIFY2(!under->status().isEmpty(), "the editor says what went wrong");
    // The way out runs with the fault still there, but a retry, which follows a repair.
    if (way == "Réessayer")
        chmod(QFile::encodeName(folder).constData(), 0755);
    const bool left =
        runUnder(way == "Réessayer" ? QString() : fault, [&] { return under->leave(); });

    QStringList prompts;
    for (const ScriptedDialogSeam::Prompt &prompt : dialogs.prompts()) {
        static const QStringList kinds = {"text",     "item",        "open",    "save",
                                          "folder",   "information", "warning", "critical",
                                          "question", "choice"};
        prompts << kinds.value(int(prompt.kind)) + ":" + prompt.title;
    }
    QTEST(prompts.join(' '), "prompts");
    QTEST(under->disk(), "disk");
    QTEST(left, "left");
    chmod(QFile::encodeName(folder).constData(), 0755);

    if (way == "Enregistrer comme nouveau profil") {
        GamepadProfileMeta recovered;
        for (const GamepadProfileMeta &meta : readProfileEntries()) {
            if (meta.name == "Un (récupéré)")
                recovered = meta;
        }
        QVERIFY(readBytes(recovered.overlayPath()).contains("\"Edite\""));
    }
}

QTEST_MAIN(TestEditingFaults)
#include "tst_editingfaults.moc"
