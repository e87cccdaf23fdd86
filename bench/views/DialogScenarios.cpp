// Opening the properties of a version with 2,000 pins: the definition view (two pin lists,
// a details pane, the forms) is built, shown and laid out, against a bare QTreeWidget that
// gets the same 2,000 rows. The ratio says what the view adds per pin beyond Qt's own
// cost of showing that many rows.
#include "../kvbench/Scenario.h"

#include <KvBlockLibrary/Block.h>
#include <KvBlockLibrary/BlockDefinition.h>
#include <KvBlockLibrary/BlockDefinitionPropertiesView.h>
#include <KvBlockLibrary/BlockPin.h>
#include <KvBlockLibrary/BlockSkin.h>
#include <KvDatatype/DatatypeProvider.h>
#include <KvMultilingual/Text.h>

#include <QtWidgets/QApplication>
#include <QtWidgets/QTreeWidget>

#include <memory>

namespace {

constexpr int PinCount = 2000;
// The view may take this many times as long as the bare tree.
constexpr double RatioLimit = 5.0;

// Inputs are the odd numbers, outputs the even ones; both skin orders run backwards, so that
// neither list can take its rows in the order the definition keeps them.
std::unique_ptr<Block> manyPinBlock()
{
    std::unique_ptr<Block> block(Block::createUserBlock());
    block->setShortName(QStringLiteral("MANY"));
    block->setName(Text(1, QStringLiteral("Viele Anschlüsse")));
    BlockDefinition *definition = block->createDefinition();
    QList<int> inputs, outputs;
    for (int number = PinCount; number >= 1; --number) {
        BlockPin *pin = definition->createPin(number);
        const bool input = number % 2 == 1;
        pin->setFunction(input ? eBlockPinFunctionInput : eBlockPinFunctionOutput);
        pin->setSimpleType(input ? eSimpleTypeReal : eSimpleTypeBool);
        pin->setShortName(QStringLiteral("P%1").arg(number));
        pin->setName(Text(1, QStringLiteral("Anschluss %1").arg(number)));
        (input ? inputs : outputs).append(number);
    }
    definition->defaultSkin()->setInputPinOrder(inputs);
    definition->defaultSkin()->setOutputPinOrder(outputs);
    return block;
}

void showAndSettle(QWidget *widget)
{
    widget->resize(600, 600);
    widget->show();
    QApplication::processEvents();
}

} // namespace

KV_BENCH_SCENARIO(dialogManyPins, "dialog-many-pins",
                  "definition view of a version with 2,000 pins against a bare tree of 2,000 rows")
{
    const std::unique_ptr<Block> block = manyPinBlock();
    BlockDefinition *definition = block->blockDefinition(0);
    DatatypeProvider *types = DatatypeProvider::instance();

    // As BlockDefinition::showPropertiesView() builds it, shown and laid out.
    std::unique_ptr<BlockDefinitionPropertiesView> view;
    const double viewTime = KvBench::fastestRun(context.repetitions(), [&] {
        view = std::make_unique<BlockDefinitionPropertiesView>();
        view->setBlockDefinition(definition);
        view->setReadOnly(false);
        showAndSettle(view.get());
    }, [&] { view.reset(); });
    const int shownRows = view->findChild<QTreeWidget *>(QStringLiteral("inputPinList"))->topLevelItemCount()
            + view->findChild<QTreeWidget *>(QStringLiteral("outputPinList"))->topLevelItemCount();
    view.reset();
    if (shownRows != PinCount) {
        context.report(QStringLiteral("the view shows %1 rows instead of %2").arg(shownRows).arg(PinCount));
        return false;
    }

    std::unique_ptr<QTreeWidget> tree;
    const double treeTime = KvBench::fastestRun(context.repetitions(), [&] {
        tree = std::make_unique<QTreeWidget>();
        tree->setHeaderLabels({QStringLiteral("Kurzname"), QStringLiteral("Datentyp"), QStringLiteral("Reihenfolge")});
        for (int number = 1; number <= PinCount; ++number) {
            BlockPin *pin = definition->pin(number);
            tree->addTopLevelItem(new QTreeWidgetItem(
                    {pin->shortName(), types->simpleType(pin->datatype()).shortName(), QString::number(number)}));
        }
        showAndSettle(tree.get());
    }, [&] { tree.reset(); });
    tree.reset();

    context.report(QStringLiteral("definition view %1 ms, bare tree %2 ms for %3 pins")
                           .arg(viewTime, 0, 'f', 1)
                           .arg(treeTime, 0, 'f', 1)
                           .arg(PinCount));
    context.reportRatio(QStringLiteral("view / bare tree"), viewTime / treeTime, RatioLimit);
    return true;
}
