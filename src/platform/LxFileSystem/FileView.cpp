#include "FileView.h"

#include "FileStorageView_p.h"
#include "FileView_p.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>

void FileViewPrivate::startSession(Mode newMode, const QString &path)
{
    mode = newMode;
    fileName = path;
    root = std::make_shared<StorageNode>(QString(), nullptr, 0);
    session = std::make_shared<StorageSession>();
}

void FileViewPrivate::discard()
{
    if (session) {
        session->active = false;
        session->source = nullptr;
    }
    session.reset();
    root.reset();
    snapshot = StorageSnapshot();
    database.close();
    mode = Mode::Closed;
}

StorageFileStatus FileViewPrivate::save()
{
    // Part of what was written could not be stored: saving the rest would lose it silently.
    // A scratch file reports it too, so that whoever took its bytes learns they are not whole.
    if (mode != Mode::Closed && session && session->tooDeep)
        return StorageFileStatus(StorageFileStatus::TooDeep);
    switch (mode) {
    case Mode::Closed:
    case Mode::Scratch:
        return {};
    case Mode::Opened:
        // Streams that could not be read leave the tree incomplete: it must not be saved.
        if (!database.fetchFailure().isOk())
            return database.fetchFailure();
        if (session->refusedWrites)
            return StorageFileStatus(StorageFileStatus::ReadOnly);
        if (!session->modified)
            return {};
        return database.commit(*root, &snapshot, identity);
    case Mode::Replace: {
        const StorageFileStatus status = database.commit(*root, nullptr, identity);
        if (status.code != StorageFileStatus::Damaged)
            return status;
        // A damaged file cannot be rewritten in place, but create() replaces whatever is there.
        database.close();
        return StorageDatabase::writeNewFile(absolutePath, *root, true);
    }
    case Mode::CreateNew:
        return StorageDatabase::writeNewFile(absolutePath, *root, replaceExisting);
    }
    return {};
}

void FileViewPrivate::setError(const StorageFileStatus &status, bool saving)
{
    const QString file = QDir::toNativeSeparators(fileName);
    QString message;
    switch (status.code) {
    case StorageFileStatus::Ok:
        hasError = false;
        errorString.clear();
        return;
    case StorageFileStatus::NotFound:
        message = FileView::tr("Die Datei „%1“ existiert nicht.").arg(file);
        break;
    case StorageFileStatus::NotStorageFile:
        message = FileView::tr("Die Datei „%1“ ist keine Speicherdatei.").arg(file);
        break;
    case StorageFileStatus::UnsupportedVersion:
        message = FileView::tr("Die Datei „%1“ hat die unbekannte Formatversion %2.").arg(file).arg(status.version);
        break;
    case StorageFileStatus::Damaged:
        message = FileView::tr("Die Datei „%1“ ist beschädigt (%2).").arg(file, status.detail);
        break;
    case StorageFileStatus::Locked:
        message = FileView::tr("Die Datei „%1“ ist von einem anderen Programm gesperrt.").arg(file);
        break;
    case StorageFileStatus::Changed:
        message = FileView::tr("Die Datei „%1“ wurde inzwischen von einem anderen Programm geändert.").arg(file);
        break;
    case StorageFileStatus::ReadOnly:
        message = FileView::tr("Die Datei „%1“ ist schreibgeschützt.").arg(file);
        break;
    case StorageFileStatus::NoPermission:
        message = FileView::tr("Keine Berechtigung zum Schreiben von „%1“.").arg(file);
        break;
    case StorageFileStatus::DiskFull:
        message = FileView::tr("Die Datei „%1“ kann nicht geschrieben werden: Der Datenträger ist voll.").arg(file);
        break;
    case StorageFileStatus::ReadFailed:
        message = FileView::tr("Die Datei „%1“ kann nicht gelesen werden (%2).").arg(file, status.detail);
        break;
    case StorageFileStatus::WriteFailed:
        message = FileView::tr("Die Datei „%1“ kann nicht geschrieben werden (%2).").arg(file, status.detail);
        break;
    case StorageFileStatus::TooDeep:
        message = FileView::tr("Die Datei „%1“ kann nicht geschrieben werden: Speicher wären tiefer als %2 Ebenen "
                               "verschachtelt.").arg(file).arg(LxFileSystemLimits::kMaxDepth);
        break;
    }
    if (saving)
        message += QLatin1Char(' ') + FileView::tr("Die Änderungen wurden nicht gespeichert.");
    hasError = true;
    errorString = message;
}

FileView::FileView(QObject *parent)
    : QObject(parent), d(new FileViewPrivate)
{
}

FileView::~FileView()
{
    d->discard();
    delete d;
}

void FileView::create(const QString &path)
{
    if (d->mode != FileViewPrivate::Mode::Closed) {
        qWarning("LxFileSystem: create() on an open file view discards its changes");
        d->discard();
    }
    d->setError(StorageFileStatus(), false);
    d->fileName = path;
    if (path.isEmpty()) {
        d->startSession(FileViewPrivate::Mode::Scratch, path);
        return;
    }
    const QFileInfo info(path);
    d->absolutePath = info.absoluteFilePath();
    if (!info.absoluteDir().exists()) {
        d->setError(StorageFileStatus(StorageFileStatus::NotFound), false);
        d->errorString = tr("Das Verzeichnis für „%1“ existiert nicht.").arg(QDir::toNativeSeparators(path));
        return;
    }
    if (!info.exists()) {
        d->replaceExisting = false;
        d->startSession(FileViewPrivate::Mode::CreateNew, path);
        return;
    }
    if (info.isDir()) {
        d->setError(StorageFileStatus(StorageFileStatus::NotStorageFile), false);
        d->errorString = tr("„%1“ ist ein Verzeichnis.").arg(QDir::toNativeSeparators(path));
        return;
    }
    // Write through symbolic links instead of replacing them.
    d->absolutePath = info.canonicalFilePath();
    if (!writePermitted(d->absolutePath)) {
        d->setError(StorageFileStatus(StorageFileStatus::ReadOnly), false);
        return;
    }
    // An existing storage file is rewritten in place, under the same lock every other
    // session of it takes; anything else at the path is replaced as a whole.
    d->identity = FileIdentity::of(d->absolutePath);
    const StorageFileStatus status = d->database.open(d->absolutePath);
    if (status.isOk() && !d->database.isReadOnly()) {
        d->startSession(FileViewPrivate::Mode::Replace, path);
        return;
    }
    d->database.close();
    if (status.code == StorageFileStatus::Locked) {
        d->setError(status, false);
        return;
    }
    d->replaceExisting = true;
    d->startSession(FileViewPrivate::Mode::CreateNew, path);
}

void FileView::open(const QString &path)
{
    if (d->mode != FileViewPrivate::Mode::Closed) {
        qWarning("LxFileSystem: open() on an open file view discards its changes");
        d->discard();
    }
    d->setError(StorageFileStatus(), false);
    d->fileName = path;
    const QFileInfo info(path);
    if (path.isEmpty() || !info.exists()) {
        d->setError(StorageFileStatus(StorageFileStatus::NotFound), false);
        return;
    }
    if (info.isDir()) {
        d->setError(StorageFileStatus(StorageFileStatus::NotStorageFile), false);
        d->errorString = tr("„%1“ ist ein Verzeichnis.").arg(QDir::toNativeSeparators(path));
        return;
    }
    d->absolutePath = info.canonicalFilePath();
    d->identity = FileIdentity::of(d->absolutePath);
    d->startSession(FileViewPrivate::Mode::Opened, path);
    StorageFileStatus status = d->database.open(d->absolutePath);
    if (status.isOk())
        status = d->database.load(*d->root, &d->snapshot);
    if (!status.isOk()) {
        d->discard();
        // Opening only reads: a permission problem here is one of reading.
        if (status.code == StorageFileStatus::NoPermission)
            status.code = StorageFileStatus::ReadFailed;
        d->setError(status, false);
        return;
    }
    d->session->readOnly = d->database.isReadOnly();
    d->session->source = &d->database;
}

bool FileView::isOpen() const
{
    return d->mode != FileViewPrivate::Mode::Closed;
}

bool FileView::isReadOnly() const
{
    return d->session && d->session->readOnly;
}

QString FileView::fileName() const
{
    return d->fileName;
}

FileStorageView *FileView::createRootView()
{
    if (!d->session) {
        qWarning("LxFileSystem: createRootView() on a closed file view");
        auto closed = std::make_shared<StorageSession>();
        closed->active = false;
        return new FileStorageView(
                *new FileStorageViewPrivate(std::make_shared<StorageNode>(QString(), nullptr, 0), closed), nullptr);
    }
    return new FileStorageView(*new FileStorageViewPrivate(d->root, d->session), nullptr);
}

void FileView::close()
{
    if (d->mode == FileViewPrivate::Mode::Closed)
        return;
    // A created file is a change by itself; an opened one only if something was written.
    const bool changes = d->mode != FileViewPrivate::Mode::Opened || d->session->modified
            || d->session->refusedWrites || d->session->tooDeep;
    const StorageFileStatus status = d->save();
    d->discard();
    d->setError(status, changes);
}

bool FileView::hasError() const
{
    return d->hasError;
}

QString FileView::errorString() const
{
    return d->errorString;
}
