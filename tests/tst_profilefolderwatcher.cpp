#include "filetestsupport.h"
#include "profilefolderwatcher.h"
#include "scratchtree.h"

#include <QtTest>

// What happens in the roots and the open profile's folder reaches the editor once per burst.
class TestProfileFolderWatcher : public QObject
{
    Q_OBJECT

    QTemporaryDir m_home;
    const QString m_root = m_home.filePath("roots/user"), m_profile = m_root + "/p1";

private slots:
    void init()
    {
        removeScratchTree(m_home.filePath("roots"));
        QVERIFY(QDir().mkpath(m_profile) && writeInPlace(m_profile + "/overlay.json", "{}"));
    }

    void changes_data()
    {
        QTest::addColumn<QString>("change");
        QTest::addColumn<int>("roots");
        QTest::addColumn<int>("folders");
        QTest::addColumn<QStringList>("paths"); // the first ones foldersChanged names
        QTest::newRow("a profile copied in") << "add" << 1 << 0 << QStringList();
        QTest::newRow("the open profile deleted") << "remove" << 1 << 1 << QStringList{m_profile};
        QTest::newRow("a file rewritten in place")
            << "rewrite" << 0 << 1 << QStringList{m_profile + "/overlay.json"};
        QTest::newRow("a file replaced by rename") << "replace" << 0 << 1 << QStringList{m_profile};
        QTest::newRow("a burst is one signal") << "burst" << 1 << 0 << QStringList();
    }

    void changes()
    {
        QFETCH(QString, change);
        ProfileFolderWatcher watcher;
        watcher.watch({m_root}, {m_profile}, {m_profile + "/overlay.json"});
        QSignalSpy rootSignals(&watcher, &ProfileFolderWatcher::rootsChanged);
        QSignalSpy folderSignals(&watcher, &ProfileFolderWatcher::foldersChanged);
        if (change == "add")
            QVERIFY(QDir().mkpath(m_root + "/p2"));
        else if (change == "remove")
            QVERIFY(removeScratchTree(m_profile));
        else if (change == "rewrite")
            QVERIFY(writeInPlace(m_profile + "/overlay.json", "{\"a\": 1}"));
        else if (change == "replace")
            QVERIFY(writeInPlace(m_profile + "/.tmp", "{}") &&
                    ::rename(QFile::encodeName(m_profile + "/.tmp").constData(),
                             QFile::encodeName(m_profile + "/overlay.json").constData()) == 0);
        for (int i = 0; change == "burst" && i < 5; ++i)
            QVERIFY(QDir().mkpath(m_root + QString("/b%1").arg(i)));
        QTRY_COMPARE_WITH_TIMEOUT(rootSignals.count() + folderSignals.count() > 0, true, 2000);
        QTest::qWait(2 * ProfileFolderWatcher::kSettleMs);
        QTEST(int(rootSignals.count()), "roots");
        QTEST(int(folderSignals.count()), "folders");
        QFETCH(QStringList, paths);
        // Deleting a folder also tells of the files in it: the folder comes first.
        QCOMPARE(folderSignals.value(0).value(0).toStringList().mid(0, paths.size()), paths);
    }

    // A root yet to come is watched through the folder above; what is no longer wanted is dropped.
    void rewatch()
    {
        const QString later = m_home.filePath("roots/shared/GamepadProfiles");
        ProfileFolderWatcher watcher;
        watcher.watch({later}, {}, {});
        QCOMPARE(watcher.watchedPaths(), QStringList({m_home.filePath("roots")}));
        QSignalSpy roots(&watcher, &ProfileFolderWatcher::rootsChanged);
        QVERIFY(QDir().mkpath(later));
        QTRY_COMPARE_WITH_TIMEOUT(roots.count(), 1, 2000);
        watcher.watch({later}, {}, {});
        QCOMPARE(watcher.watchedPaths(), QStringList({later}));
        watcher.watch({m_root}, {m_profile, m_home.filePath("missing")}, {});
        QCOMPARE(watcher.watchedPaths().size(), 2);
        watcher.watch({m_root}, {}, {});
        QCOMPARE(watcher.watchedPaths(), QStringList({m_root}));
        QSignalSpy folders(&watcher, &ProfileFolderWatcher::foldersChanged);
        QVERIFY(writeInPlace(m_profile + "/x", "1"));
        QTest::qWait(3 * ProfileFolderWatcher::kSettleMs);
        QCOMPARE(folders.count(), 0);
    }
};

QTEST_MAIN(TestProfileFolderWatcher)
#include "tst_profilefolderwatcher.moc"
