#pragma once

class QWidget;

namespace PanelPainting {

// The style sheet's push button background on a widget of the panel, which
// is no push button itself; sunken gives it the :pressed look.
void paintButtonBackground(QWidget *widget, bool sunken = false);

} // namespace PanelPainting
