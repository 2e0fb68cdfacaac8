// How a severity shows: a word, and a sign whose outline says the same as its colour.
#pragma once

#include "Analysis/Expert/ExpertCatalog.h"

#include <QIcon>
#include <QString>

namespace netrondo {

/// "Error", "Warning", "Note", "Info".
QString severityWord(Severity severity);
/// Made anew; whoever paints it often keeps it.
QIcon severityIcon(Severity severity);

} // namespace netrondo
