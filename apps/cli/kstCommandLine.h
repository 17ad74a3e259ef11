#pragma once

#include <QList>
#include <QString>

// What several commands of the command-line tool read from their arguments.
namespace kstCommandLine {

// Appends the indices of a "--layers i,j" value; on a part that is no
// index, returns false with that part in `bad`.
bool layerIndices(const QString& value, QList<int>& indices, QString& bad);

} // namespace kstCommandLine
