#pragma once

#include <QIcon>

namespace corvane {

// The program's icon, drawn from the same shapes as resources/corvane.svg (which the desktop
// entry installs), so that the window and the launch screen need no SVG image plugin.
QIcon appIcon();
// The icon at one size, for the launch screen.
QPixmap appIconPixmap(int size);

} // namespace corvane
