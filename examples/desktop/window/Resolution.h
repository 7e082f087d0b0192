#pragma once

namespace Desktop
{

// Windows, letters and pictures are as large on a fine screen as on another, and finer. Before the application
// is made; with Qt 6 nothing has to be asked for.
void useWholeResolution();

} // namespace Desktop
