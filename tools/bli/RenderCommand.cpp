// render: a block version drawn the way the graphical editor shows it on its grid.
#include "Commands.h"
#include "LibraryAccess.h"
#include "Presentation.h"

#include <KvBlockLibrary/Block.h>
#include <KvBlockLibrary/BlockDefinition.h>
#include <KvBlockLibrary/BlockPin.h>
#include <KvBlockLibrary/BlockSkin.h>

#include <QtCore/QBuffer>
#include <QtCore/QFileInfo>
#include <QtCore/QSaveFile>
#include <QtGui/QFont>
#include <QtGui/QImage>
#include <QtGui/QPainter>

#include <cerrno>
#include <cstring>

namespace Bli {

namespace {

// Pixels per grid unit of the editor. The body is the skin's size in grid units; pin stubs
// stick out one unit on either side, so the picture is two units wider than the body.
constexpr int Grid = 20;
// The largest picture drawn: sides of up to 32,000 pixels (1,600 pin rows) and at most
// 64 million pixels (256 MiB), far beyond any real block.
constexpr double MaxSide = 32000.0;
constexpr double MaxPixels = 64.0 * 1024 * 1024;

// firstRow: the output column leaves the top row to the enable pin that heads the inputs.
void drawPins(QPainter &painter, const BlockDefinition *definition, const QList<int> &numbers, const QRectF &body,
              bool inputs, int firstRow)
{
    QFont font = painter.font();
    font.setPixelSize(Grid / 2);
    painter.setFont(font);
    for (int row = 0; row < numbers.size(); ++row) {
        const BlockPin *pin = definition->pin(numbers.at(row));
        const double y = body.top() + (firstRow + row + 0.5) * Grid;
        const double edge = inputs ? body.left() : body.right();
        const double outer = inputs ? edge - Grid : edge + Grid;
        painter.setPen(QPen(Qt::black, pin && pin->isEnablePin() ? 2.0 : 1.0));
        painter.drawLine(QPointF(outer, y), QPointF(edge, y));
        painter.setPen(Qt::black);
        const QRectF label(inputs ? edge + 3 : body.center().x(), y - Grid / 2.0,
                           body.width() / 2.0 - 3, Grid);
        painter.drawText(label, (inputs ? Qt::AlignLeft : Qt::AlignRight) | Qt::AlignVCenter,
                         pin ? pin->shortName() : QString::number(numbers.at(row)));
    }
}

} // namespace

int runRender(const Invocation &invocation)
{
    const QString output = invocation.argument(3);
    // The picture never replaces the library it is drawn from, whatever name reaches it.
    const QFileInfo library(invocation.argument(0));
    const QFileInfo target(output);
    if (target.exists() && library.exists() && target.canonicalFilePath() == library.canonicalFilePath())
        throw Failure { QStringLiteral("%1: is the library itself; the picture needs another file").arg(output) };
    if (target.exists() && !invocation.force)
        throw Failure { QStringLiteral("%1: exists; --force replaces it").arg(output) };

    OpenedLibrary opened(invocation.argument(0));
    Block *block = opened.findBlock(invocation.argument(1));
    const BlockDefinition *definition = OpenedLibrary::findVersion(block, invocation.argument(2));

    const BlockSkin *skin = definition->defaultSkin();
    const QSizeF units = skin->size();
    // A version with tens of thousands of pins (a damaged or hostile file) would ask for a
    // picture of gigabytes: refuse what no screen shows rather than allocate it.
    if (units.width() * Grid > MaxSide || units.height() * Grid > MaxSide
        || (units.width() + 2) * Grid * units.height() * Grid > MaxPixels)
        throw Failure { QStringLiteral("%1 V%2: %3 x %4 grid units is too large to draw")
                                .arg(block->identifier())
                                .arg(definition->version())
                                .arg(units.width())
                                .arg(units.height()) };
    const QSize bodySize(qRound(units.width() * Grid), qRound(units.height() * Grid));
    QImage picture(bodySize.width() + 2 * Grid, bodySize.height(), QImage::Format_ARGB32);
    if (picture.isNull())
        throw Failure { QStringLiteral("%1: no memory for a picture of %2 x %3 pixels")
                                .arg(output)
                                .arg(bodySize.width() + 2 * Grid)
                                .arg(bodySize.height()) };
    picture.fill(Qt::white);
    {
        QPainter painter(&picture);
        painter.setRenderHint(QPainter::Antialiasing);
        const QRectF body(Grid, 0, bodySize.width(), bodySize.height());
        painter.setPen(QPen(Qt::black, 1.0));
        painter.setBrush(QColor(0xe8, 0xee, 0xf6));
        painter.drawRect(body.adjusted(0.5, 0.5, -0.5, -0.5));

        // The default image fills the middle of the body, between the two label columns,
        // scaled down to fit and never up.
        const QImage image = QImage::fromData(skin->defaultImage());
        if (!image.isNull()) {
            const QRectF area = body.adjusted(2 * Grid, 0, -2 * Grid, 0);
            QSizeF size = image.size();
            if (size.width() > area.width() || size.height() > area.height())
                size.scale(area.size(), Qt::KeepAspectRatio);
            const QRectF target(area.center().x() - size.width() / 2, area.center().y() - size.height() / 2,
                                size.width(), size.height());
            painter.drawImage(target, image);
        }
        const QList<int> inputs = skin->inputPins();
        drawPins(painter, definition, inputs, body, true, 0);
        drawPins(painter, definition, skin->outputPins(), body, false, inputs.contains(-1) ? 1 : 0);
    }
    // Written beside the target and renamed into place: a failed render leaves OUT as it was.
    // The PNG is made in memory and written unbuffered, so that a short write (a full disk)
    // shows in the count: through a buffer, the failing flush would not stop the commit.
    QByteArray png;
    QBuffer buffer(&png);
    if (!buffer.open(QIODevice::WriteOnly) || !picture.save(&buffer, "PNG"))
        throw Failure { QStringLiteral("%1: cannot encode the picture").arg(output) };
    QSaveFile file(output);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
        throw Failure { QStringLiteral("%1: cannot write the picture: %2").arg(output, file.errorString()) };
    errno = 0;
    if (file.write(png) != png.size()) {
        const QString reason = errno ? QString::fromLocal8Bit(std::strerror(errno)) : file.errorString();
        file.cancelWriting();
        throw Failure { QStringLiteral("%1: cannot write the picture: %2").arg(output, reason) };
    }
    if (!file.commit())
        throw Failure { QStringLiteral("%1: cannot write the picture: %2").arg(output, file.errorString()) };
    return ExitSuccess;
}

} // namespace Bli
