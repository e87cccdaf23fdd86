#include <KvBlockLibrary/Block.h>
#include <KvBlockLibrary/BlockDefinition.h>
#include <KvMultilingual/Text.h>
#include <KvSystem/System.h>
#include <LxFileSystem/FileStorageView.h>
#include <LxFileSystem/FileView.h>
#include <LxUtilities/ByteArraySupport.h>
#include <LxUtilities/StreamType.h>

#include <QtWidgets/QApplication>

#include <memory>

#include <cstdio>

int main(int argc, char **argv)
{
    QApplication app(argc, argv);

    // A scratch storage file: write a typed stream, read it back, check its type line.
    FileView file;
    file.create(QString());
    if (!file.isOpen())
        return 1;
    FileStorageView *root = file.createRootView();
    root->storage(QStringLiteral("Blocks"))->writeStream(QStringLiteral("Info.ini"),
                                                         ";type=\"block\" version=\"0\"\r\n");
    StreamType type;
    type.setStreamData(root->storage(QStringLiteral("Blocks"))->readStream(QStringLiteral("Info.ini")));
    delete root;
    file.close();
    if (!type.contains(QStringLiteral("block")))
        return 2;

    QByteArray check("123456789");
    if (LxByteArraySupport::ByteArraySupport(check, false).crc32() != 0xCBF43926u)
        return 3;

    Text name;
    name.setText(1, QStringLiteral("Regler"));
    if (name.text(1) != QStringLiteral("Regler") || !System::instance())
        return 4;

    // A block through its contents text and back.
    std::unique_ptr<Block> block(Block::createUserBlock());
    block->setName(name);
    block->createDefinition()->setAccessLevelRead(3);
    std::unique_ptr<Block> copy(Block::createBlock(block->identifier()));
    if (!copy->loadContents(block->saveContents()) || copy->name() != name
        || copy->blockDefinition(0)->accessLevelRead() != 3)
        return 5;

    std::printf("consumer: ok\n");
    return 0;
}
