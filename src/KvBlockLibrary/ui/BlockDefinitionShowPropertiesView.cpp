// The dialog of a definition lives with the views, so that the model itself includes no
// dialog header.

#include "BlockDefinition.h"

#include "Block.h"
#include "BlockDefinitionDescriptionView.h"
#include "BlockDefinitionPropertiesView.h"
#include "BlockPropertiesDialog.h"

#include <KvSystem/System.h>

#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QTabWidget>

namespace {

// Local and user blocks carry a description of their own beside their properties.
QWidget *withDescriptionTab(QWidget *properties, QWidget *description, const QString &propertiesTitle,
                            const QString &descriptionTitle)
{
    auto *wrapper = new QWidget;
    auto *layout = new QHBoxLayout(wrapper);
    auto *tabs = new QTabWidget(wrapper);
    tabs->addTab(properties, propertiesTitle);
    tabs->addTab(description, descriptionTitle);
    layout->addWidget(tabs);
    return wrapper;
}

} // namespace

bool BlockDefinition::showPropertiesView(bool readOnly, unsigned int family)
{
    Block *owner = block();
    BlockPropertiesDialog dialog(System::instance()->mainWindow());
    dialog.setWindowTitle(tr("Eigenschaften von %1").arg(owner ? owner->name().text() : QString(), 0, QLatin1Char(' ')));
    dialog.resize(600, 600);
    dialog.setWindowFlags(dialog.windowFlags() & ~Qt::WindowContextHelpButtonHint);
    const bool ownDescription = owner && (owner->isLocalBlock() || owner->isUserBlock());

    if (!isParameterDefinitionBlock()) {
        auto *view = new BlockDefinitionPropertiesView;
        view->setBlockDefinition(this);
        view->setReadOnly(readOnly);
        QObject::connect(&dialog, &QDialog::accepted, view, &BlockDefinitionPropertiesView::updateBlockDefinition);
        QWidget *content = view;
        if (ownDescription) {
            auto *description = new BlockDefinitionDescriptionView(this, readOnly);
            QObject::connect(&dialog, &QDialog::accepted, description, &BlockDefinitionDescriptionView::updateBlockDefinition);
            content = withDescriptionTab(view, description, tr("Eigenschaften"), tr("Beschreibung"));
        }
        dialog.setContent(content, readOnly);
    } else if (parameterDefinitionList(family).isEmpty()) {
        // No parameter for this family: the frame opens without content and without
        // buttons and can only be closed, which counts as rejected.
    }
    return dialog.exec() == QDialog::Accepted;
}
