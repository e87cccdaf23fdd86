#include "BlockLibraryFile.h"
#include "BlockLibraryFile_p.h"

#include <KvSystem/System.h>
#include <LxFileSystem/FileStorageView.h>
#include <LxFileSystem/FileView.h>
#include <LxUtilities/AppSettings.h>
#include <LxUtilities/DefaultPathSetting.h>

#include <QtCore/QFileInfo>
#include <QtWidgets/QFileDialog>
#include <QtWidgets/QMessageBox>

#include <memory>

BlockLibraryFile::BlockLibraryFile(QObject *parent)
    : BlockLibraryContainer(*new BlockLibraryFilePrivate, parent)
{
    setType(256);
}

BlockLibraryFile::~BlockLibraryFile() = default;

BlockLibraryFilePrivate *BlockLibraryFile::dFile() const
{
    return static_cast<BlockLibraryFilePrivate *>(d);
}

QString BlockLibraryFile::filePath() const
{
    return dFile()->filePath;
}

QString BlockLibraryFile::errorString() const
{
    return dFile()->errorString;
}

bool BlockLibraryFile::load(const QString &path)
{
    FileView file;
    file.open(path);
    if (!file.isOpen()) {
        dFile()->errorString = file.errorString();
        return false;
    }
    dFile()->filePath = path;
    bool loaded = false;
    {
        std::unique_ptr<FileStorageView> root(file.createRootView());
        loaded = BlockLibraryContainer::load(root.get());
    }
    file.close();
    dFile()->errorString = loaded ? QString() : tr("\"%1\" enthält keine Bausteinbibliothek.").arg(path);
    return loaded;
}

bool BlockLibraryFile::save(const QString &requestedPath)
{
    QString path = requestedPath;
    if (path.isEmpty()) {
        std::unique_ptr<DefaultPathSetting> start(DefaultPathSetting::create(eSettingDefaultPathBlockLibraries));
        const QString directory = start->path();
        start.reset();
        path = QFileDialog::getSaveFileName(System::instance()->mainWindow(), tr("Bibliothek Speichern"), directory,
                                            tr("Bausteinbibliotheken (*.bli)"));
    }

    auto fail = [this](const QString &reason) {
        dFile()->errorString = reason;
        QMessageBox::critical(System::instance()->mainWindow(), tr("Speichern"),
                              tr("Die Bibliothek kann nicht gespeichert werden"), QMessageBox::Ok);
        return false;
    };

    FileView file;
    if (!path.isEmpty()) {
        file.open(path);
        if (!file.isOpen())
            file.create(path);
    }
    if (!file.isOpen())
        return fail(path.isEmpty() ? tr("Kein Dateiname angegeben.") : file.errorString());
    // Refused before anything is written, so that a session on a file without write
    // permission never gets as far as a failing commit.
    if (file.isReadOnly()) {
        file.close();
        return fail(tr("\"%1\" ist schreibgeschützt.").arg(path));
    }

    // A fixed container writes nothing; rewriting the file from scratch would then leave it
    // empty, so its file is left as it is.
    if (type() >= 255) {
        std::unique_ptr<FileStorageView> root(file.createRootView());
        root->clear();
        BlockLibraryContainer::save(root.get());
    }
    file.close();
    if (file.hasError()) {
        // Nothing reached the disk: the library must still count as changed.
        setModified();
        return fail(file.errorString());
    }
    // The new path only after the commit: a failed "save as" leaves the library where it was.
    dFile()->filePath = path;
    dFile()->errorString.clear();
    return true;
}

Text BlockLibraryFile::name()
{
    Text stored = BlockLibraryContainer::name();
    if (!stored.textLanguages().isEmpty())
        return stored;
    const QFileInfo info(dFile()->filePath);
    const QString text = (!dFile()->filePath.isEmpty() && info.exists()) ? info.fileName() : QStringLiteral("new");
    stored.setText(1, text);
    stored.convertToMonolingual(1);
    return stored;
}

bool BlockLibraryFile::isLocalContainer() const
{
    return false;
}

bool BlockLibraryFile::prepareClose()
{
    if (!modified())
        return true;
    const QMessageBox::StandardButton answer = QMessageBox::question(
        System::instance()->mainWindow(), tr("Bibliothek wurde geändert"),
        tr("Sollen die Änderungen in der Bibliothek \"%1\" gespeichert werden?").arg(name().text(), 0, QLatin1Char(' ')),
        QMessageBox::Yes | QMessageBox::No | QMessageBox::Abort, QMessageBox::Abort);
    switch (answer) {
    case QMessageBox::Yes:
        return save(dFile()->filePath);
    case QMessageBox::No:
        return true;
    default:
        return false;
    }
}

void BlockLibraryFile::saveRequested()
{
    if (!modified())
        return;
    switch (AppSettings::instance()->setting(AppSettings::SaveModifiedLibraries)) {
    case AppSettings::SaveSilently:
        save(dFile()->filePath);
        break;
    case AppSettings::AskBeforeSaving:
        prepareClose();
        break;
    default:
        break;
    }
}
