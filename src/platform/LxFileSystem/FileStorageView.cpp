#include "FileStorageView.h"

#include "FileStorageView_p.h"
#include "StorageTreeCodec_p.h"

namespace {

bool sameBytes(const QByteArray &a, const QByteArray &b)
{
    return (a.constData() == b.constData() && a.size() == b.size()) || a == b;
}

QStringList names(const StreamList &streams)
{
    QStringList names;
    names.reserve(streams.size());
    for (const StorageStream &stream : streams)
        names.append(stream.name);
    return names;
}

QStringList names(const std::map<QString, StorageNodePtr> &children)
{
    QStringList names;
    names.reserve(qsizetype(children.size()));
    for (const auto &child : children)
        names.append(child.first);
    return names;
}

} // namespace

bool FileStorageViewPrivate::beginWrite(bool wouldChange)
{
    if (!node || !session || !session->active)
        return false;
    if (session->readOnly) {
        if (wouldChange)
            session->refusedWrites = true;
        return false;
    }
    if (node->detached || !wouldChange)
        return false;
    session->modified = true;
    return true;
}

FileStorageView::FileStorageView(FileStorageView *parent)
    : QObject(parent), d(new FileStorageViewPrivate)
{
}

FileStorageView::FileStorageView(FileStorageViewPrivate &dd, FileStorageView *parent)
    : QObject(parent), d(&dd)
{
}

FileStorageView::~FileStorageView()
{
    delete d;
}

bool FileStorageView::isReadOnly() const
{
    return !d->isLive() || d->session->readOnly;
}

void FileStorageView::clear()
{
    if (d->beginWrite(d->node && !d->node->isEmpty()))
        d->node->clear();
}

QString FileStorageView::name() const
{
    return d->node ? d->node->name : QString();
}

QString FileStorageView::path() const
{
    return d->node ? d->node->path() : QString();
}

QStringList FileStorageView::streamNames() const
{
    return d->isLive() ? names(d->node->streams) : QStringList();
}

QStringList FileStorageView::storageNames() const
{
    return d->isLive() ? names(d->node->children) : QStringList();
}

void FileStorageView::writeStream(const QString &name, const QByteArray &data)
{
    if (!d->node)
        return;
    StreamList &streams = d->node->streams;
    const qsizetype index = d->node->findStream(name);
    const bool exists = index < streams.size() && streams.at(index).name == name;
    // Whether the bytes change decides only what a read-only file refuses; in a writable
    // one, close() compares with the file anyway.
    bool wouldChange = !exists || streams.at(index).byteCount() != data.size();
    if (!wouldChange && (!d->session || d->session->readOnly))
        wouldChange = !sameBytes(d->session ? d->session->bytesOf(streams.at(index)) : QByteArray(), data);
    else if (!wouldChange)
        wouldChange = streams.at(index).inFile() || !sameBytes(streams.at(index).data, data);
    if (!d->beginWrite(wouldChange))
        return;
    if (exists)
        streams[index] = StorageStream { streams.at(index).name, data };
    else
        streams.insert(index, StorageStream { name, data });
}

QByteArray FileStorageView::readStream(const QString &name) const
{
    if (!d->isLive())
        return QByteArray();
    const StreamList &streams = d->node->streams;
    qsizetype index = d->lastStream + 1;
    if (index >= streams.size() || !sameName(streams.at(index).name, name)) {
        index = d->node->findStream(name);
        if (index >= streams.size() || streams.at(index).name != name)
            return QByteArray();
    }
    d->lastStream = index;
    return d->session->bytesOf(streams.at(index));
}

FileStorageView *FileStorageView::storage(const QString &name)
{
    if (!d->node)
        return nullptr;
    StorageNode &node = *d->node;
    auto &children = node.children;
    auto found = children.end();
    bool exists = false;
    if (d->lastChildGeneration == node.generation) {
        const auto next = std::next(d->lastChild);
        if (next != children.end() && sameName(next->first, name)) {
            found = next;
            exists = true;
        }
    }
    if (!exists) {
        found = children.lower_bound(name);
        exists = found != children.end() && found->first == name;
    }
    StorageNodePtr child;
    if (exists) {
        child = found->second;
    } else if (d->isLive() && !d->session->readOnly) {
        if (node.depth < LxFileSystemLimits::kMaxDepth) {
            child = std::make_shared<StorageNode>(name, &node, node.depth + 1);
            found = children.emplace_hint(found, name, child);
            d->session->modified = true;
        } else {
            // What would be written below it is lost, so the session must not save as if
            // nothing happened: close() reports it and leaves the file as it was.
            d->session->tooDeep = true;
            qWarning("LxFileSystem: storage \"%s\" would nest deeper than %d levels; it is not created",
                     qPrintable(name), LxFileSystemLimits::kMaxDepth);
        }
    }

    if (child) {
        d->lastChild = found;
        d->lastChildGeneration = node.generation;
        if (child->firstViewOwner == d && child->firstView)
            return child->firstView;
        QPointer<FileStorageView> &view = child->firstView && child->firstViewOwner != d
                ? d->childViews[child.get()]
                : child->firstView;
        if (!view) {
            view = new FileStorageView(*new FileStorageViewPrivate(child, d->session), this);
            if (&view == &child->firstView)
                child->firstViewOwner = d;
        }
        return view;
    }
    // Nothing can be created here (read-only file, removed storage, closed file): an empty
    // storage outside the tree keeps callers working and absorbs their writes.
    QPointer<FileStorageView> &view = d->placeholderViews[name];
    if (!view) {
        auto placeholder = std::make_shared<StorageNode>(name, nullptr, node.depth + 1);
        placeholder->detached = true;
        view = new FileStorageView(*new FileStorageViewPrivate(placeholder, d->session), this);
    }
    return view;
}

QByteArray FileStorageView::toByteArray() const
{
    const auto bytesOf = [this](const StorageStream &stream) { return d->session->bytesOf(stream); };
    if (!d->isLive())
        return StorageTreeCodec::encode(StorageNode(QString(), nullptr, 0), bytesOf);
    return StorageTreeCodec::encode(*d->node, bytesOf);
}

bool FileStorageView::fromByteArray(const QByteArray &data)
{
    if (!d->node)
        return false;
    StorageNodePtr decoded = StorageTreeCodec::decode(data, d->node->depth);
    if (!decoded || !d->beginWrite(true))
        return false;
    d->node->takeContents(*decoded);
    return true;
}

void FileStorageView::removeStream(const QString &name)
{
    if (!d->node)
        return;
    const qsizetype index = d->node->findStream(name);
    const bool exists = index < d->node->streams.size() && d->node->streams.at(index).name == name;
    if (d->beginWrite(exists))
        d->node->streams.remove(index);
}
