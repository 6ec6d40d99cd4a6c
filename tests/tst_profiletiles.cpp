#include "jsonfile.h"
#include "profiletiles.h"

#include <QtTest>
#include <QtWidgets>

class TestProfileTiles : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;

    // A profile whose picture is `size` filled with `colour`; an invalid colour writes a file
    // that is no picture, no size writes none. Pictures of one size are files of one size (BMP).
    GamepadProfileMeta profile(const QString &name, const QColor &colour, QSize size = {400, 200})
    {
        GamepadProfileMeta meta;
        meta.name = name, meta.imageFile = QStringLiteral("image.bmp");
        meta.folder = m_dir.filePath(name);
        QDir().mkpath(meta.folder);
        QImage picture(size, QImage::Format_RGB32);
        picture.fill(colour);
        QPainter(&picture).fillRect(10, 0, 3, size.height(), Qt::white); // something to scale
        QFile file(meta.imagePath());
        if (!colour.isValid() && file.open(QIODevice::WriteOnly))
            file.write("PNG?");
        else if (size.isValid())
            picture.save(meta.imagePath());
        return meta;
    }

    static QList<QImage> tileImages(const QListWidget &list)
    {
        QList<QImage> images;
        for (int row = 0; row < list.count(); ++row)
            images << list.item(row)->icon().pixmap(ProfileTiles::kIconSize).toImage();
        return images;
    }

    static QImage smoothTile(const GamepadProfileMeta &entry)
    {
        return QImage(entry.imagePath())
            .scaled(ProfileTiles::kIconSize, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    }

private slots:
    // Listing again after a profile left decodes only the pictures that changed, identical
    // pictures are decoded once, and the tiles show what a first listing shows.
    void refillDecodesOnlyWhatChanged()
    {
        QList<GamepadProfileMeta> entries{
            profile("a", Qt::red),         profile("b", Qt::green),
            profile("c", Qt::blue),        profile("no picture", Qt::gray, QSize()),
            profile("broken", QColor()),   profile("a copy", Qt::gray, QSize()),
            profile("oversized", Qt::cyan)};
        QFile::copy(entries[0].imagePath(), entries[5].imagePath());
        QFile(entries[6].imagePath()).resize(kMaxProfileFileBytes + 1);
        QListWidget list;
        ProfileTiles tiles(&list);
        QSignalSpy ready(&tiles, &ProfileTiles::thumbnailsReady);
        tiles.fill({profile("replaced at once", Qt::cyan)}); // never decoded
        tiles.fill(entries);
        QVERIFY(tiles.thumbnailsPending());
        tiles.waitForThumbnails();
        QVERIFY(!tiles.thumbnailsPending() && ready.count() == 1);
        QCOMPARE(tiles.decodeCount(), 4); // "a" and its copy once
        for (int row : {4, 6})
            QCOMPARE(tileImages(list).at(row), tileImages(list).at(3));
        for (int row : {0, 1, 5})
            QCOMPARE(tileImages(list).at(row), smoothTile(entries[row]));

        entries.removeAt(1);
        entries[1] = profile("c", Qt::yellow, {300, 200});
        entries[4] = profile("a copy", Qt::magenta); // same size, later modification time
        QFile changed(entries[4].imagePath());
        QVERIFY(changed.open(QIODevice::ReadWrite));
        changed.setFileTime(QDateTime::currentDateTime().addSecs(60), QFile::FileModificationTime);
        tiles.fill(entries), tiles.waitForThumbnails();
        QCOMPARE(tiles.decodeCount(), 6);
        tiles.fill(entries << profile("e", Qt::green)), tiles.waitForThumbnails(); // as "b" was
        QCOMPARE(tiles.decodeCount(), 7); // pictures no longer listed are let go
        for (int row : {0, 1, 4})
            QCOMPARE(tileImages(list).at(row), smoothTile(entries[row]));
        QListWidget freshList;
        ProfileTiles fresh(&freshList);
        fresh.fill(entries), fresh.waitForThumbnails();
        QCOMPARE(tileImages(list), tileImages(freshList));
        // A tile given back its shown picture while another decodes keeps showing it.
        tiles.update(0, profile("d", Qt::darkRed)), tiles.update(0, entries[0]);
        tiles.waitForThumbnails();
        QCOMPARE(tileImages(list).at(0), smoothTile(entries[0]));
    }
};

QTEST_MAIN(TestProfileTiles)
#include "tst_profiletiles.moc"
