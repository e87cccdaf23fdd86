#pragma once

class QWidget;

// The one look of read-only fields in every view of this library, so that a field that
// cannot be edited looks the same everywhere:
// - line edits and spin boxes become read-only, and like combo boxes they get a palette
//   whose Base colour is the Button colour;
// - combo boxes keep their entries but their drop-down list is disabled, and keys and the
//   mouse wheel no longer change the selection;
// - buttons are disabled.
// apply(widget, false) gives the widget its editable state and the default palette back.
namespace ReadOnlyPresentation {

void apply(QWidget *widget, bool readOnly);

} // namespace ReadOnlyPresentation
