// SQLite's own file layer with the few things that differ for the engine's files: writes keep to the bounds, temporary
// files and super-journals are not opened, and each connection's bounds have their place in its main file.
#ifndef VELQ_DSH_FILE_LAYER_H
#define VELQ_DSH_FILE_LAYER_H

#include "VELQ_DSH_Bounds.h"

// The name to open files with. Registers the layer on the first call; when SQLite has none to build on, opening fails.
const char *fileLayerName() noexcept;
// The bounds of a connection; null when its file was not opened by way of the layer.
Bounds *boundsOf(sqlite3 *connection) noexcept;

#endif
