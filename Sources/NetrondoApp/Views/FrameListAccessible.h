// The packet list for those who do not see it: a table whose cells are made when somebody asks for them.
#pragma once

#include <QAccessible>

namespace netrondo {

/// For QAccessible::installFactory.
QAccessibleInterface* makeFrameListAccessible(const QString& className, QObject* object);

} // namespace netrondo
