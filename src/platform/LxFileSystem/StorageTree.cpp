#include "StorageTree_p.h"

#include <QtCore/QStringList>

#include <algorithm>

namespace {

void detachSubtree(StorageNode &node)
{
    node.parent = nullptr;
    node.detached = true;
    node.clear();
}

} // namespace

StorageNode::~StorageNode()
{
    // Views may keep a child alive after its parent is gone; it must not point back.
    for (auto &child : children) {
        child.second->parent = nullptr;
        child.second->detached = true;
    }
}

void StorageNode::clear()
{
    ++generation;
    streams = StreamList();
    // A view may hold any node of the removed subtrees; every one of them must end up empty.
    for (auto &child : children)
        detachSubtree(*child.second);
    children.clear();
}

void StorageNode::takeContents(StorageNode &other)
{
    clear();
    ++generation;
    streams.swap(other.streams);
    children.swap(other.children);
    for (auto &child : children)
        child.second->parent = this;
}

QString StorageNode::path() const
{
    if (!parent)
        return detached ? name : QString();
    QStringList names;
    for (const StorageNode *node = this; node->parent; node = node->parent)
        names.prepend(node->name);
    return names.join(QLatin1Char('/'));
}

qsizetype StorageNode::findStream(const QString &name) const
{
    const auto found = std::lower_bound(streams.cbegin(), streams.cend(), name,
                                        [](const StorageStream &stream, const QString &key) { return stream.name < key; });
    return found - streams.cbegin();
}
