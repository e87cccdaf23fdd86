#include "BlockLibraryContainer.h"
#include "BlockLibraryContainer_p.h"

#include "BlockLibrary.h"
#include "TypedIni_p.h"

#include <LxFileSystem/FileStorageView.h>

#include <QtCore/QRegularExpression>
#include <QtCore/QUuid>

namespace {

const QString InfoStream = QStringLiteral("Info.ini");
const QString GroupSegmentsStorage = QStringLiteral("Groupsegments");

} // namespace

BlockLibraryContainer::BlockLibraryContainer(QObject *parent)
    : BlockLibraryContainer(*new BlockLibraryContainerPrivate, parent)
{
}

BlockLibraryContainer::BlockLibraryContainer(BlockLibraryContainerPrivate &dd, QObject *parent)
    : QObject(parent)
    , d(&dd)
{
    d->q = this;
    d->identifier = QUuid::createUuid().toString();
    d->library = new BlockLibrary(this);
    connect(d->library, &BlockLibrary::contentsChanged, this, &BlockLibraryContainer::setModified);
    connect(d->library, &BlockLibrary::groupsChanged, this, &BlockLibraryContainer::groupsChanged);
}

BlockLibraryContainer::~BlockLibraryContainer()
{
    // The library is a Qt child; delete it first so that its blocks never see a
    // half-destroyed container.
    delete d->library;
    delete d;
}

BlockLibrary *BlockLibraryContainer::library() const
{
    return d->library;
}

void BlockLibraryContainer::setName(Text name)
{
    d->name = name;
}

void BlockLibraryContainer::setReadOnly(bool readOnly)
{
    d->readOnly = readOnly;
}

void BlockLibraryContainer::setIdentifier(const QString &identifier)
{
    d->identifier = identifier;
}

void BlockLibraryContainer::setType(unsigned int type)
{
    if (type > BlockLibraryContainerPrivate::FirstEditableType)
        d->type = type;
}

Text BlockLibraryContainer::name()
{
    return d->name;
}

bool BlockLibraryContainer::readOnly() const
{
    return d->readOnly;
}

QString BlockLibraryContainer::identifier()
{
    return d->identifier;
}

unsigned int BlockLibraryContainer::type() const
{
    return d->type;
}

bool BlockLibraryContainer::prepareClose()
{
    return true;
}

void BlockLibraryContainer::saveRequested()
{
}

bool BlockLibraryContainer::modified() const
{
    return d->type >= BlockLibraryContainerPrivate::FirstEditableType && d->modified;
}

QHash<unsigned int, Text> BlockLibraryContainer::groupNames() const
{
    return d->groupNames;
}

void BlockLibraryContainerPrivate::reset()
{
    name.removeAll();
    modified = true;
    readOnly = false;
    type = FirstEditableType;
}

void BlockLibraryContainer::clear()
{
    d->reset();
    d->library->clear();
}

void BlockLibraryContainer::setModified()
{
    if (d->type < BlockLibraryContainerPrivate::FirstEditableType)
        return;
    d->modified = true;
    emit modifiedChanged(true);
}

bool BlockLibraryContainerPrivate::readDescription(FileStorageView *root)
{
    TypedIniReader reader;
    if (!reader.open(root, InfoStream, QStringLiteral("blocklibrary")))
        return false;
    // The description is written in Latin-1 but read as UTF-8; both are kept that way.
    reader.setForceUtf8(true);
    QString text;
    if (reader.text("Info", "Identifier", &text))
        identifier = text;
    if (reader.contains("Info", "ReadOnly")) {
        unsigned int value = 0;
        readOnly = reader.unsignedNumber("Info", "ReadOnly", &value) && value == 1;
    }
    if (reader.contains("Info", "Type")) {
        unsigned int value = 0;
        type = reader.unsignedNumber("Info", "Type", &value) ? value : 0;
    }
    Text names;
    if (reader.languages("Names", &names))
        name = names;
    return true;
}

void BlockLibraryContainerPrivate::readGroupSegments(FileStorageView *root)
{
    const QList<NumberedStorage> segments = numberedStorages(root, GroupSegmentsStorage);
    for (const NumberedStorage &segment : segments) {
        // A missing "Info.ini" reads as empty and fails the type check like a wrong one.
        TypedIniReader reader;
        if (!reader.setData(segment.storage->readStream(InfoStream), QStringLiteral("groupsegment")))
            continue;
        reader.setForceUtf8(true);
        Text names;
        if (reader.languages("Names", &names))
            groupNames.insert(segment.number, names);
    }
}

bool BlockLibraryContainer::load(FileStorageView *root)
{
    d->reset();
    d->library->clear();
    if (!d->readDescription(root))
        return false;
    d->readGroupSegments(root);
    const bool ok = d->library->load(root);
    d->modified = false;
    emit modifiedChanged(false);
    return ok;
}

void BlockLibraryContainer::save(FileStorageView *root)
{
    if (d->type < BlockLibraryContainerPrivate::FirstEditableType)
        return;
    d->library->save(root);
    TypedIniWriter writer(QStringLiteral("blocklibrary"), 0, TextEncoding::Latin1);
    writer.beginSection("Info");
    writer.addText("Identifier", identifier());
    writer.addFlag("ReadOnly", readOnly());
    writer.addUnsigned("Type", d->type);
    writer.beginSection("Names");
    // The stored name, not name(): a name a subclass makes up is not written.
    writer.addLanguages(d->name);
    writer.write(root, InfoStream);
    d->modified = false;
    emit modifiedChanged(false);
}
