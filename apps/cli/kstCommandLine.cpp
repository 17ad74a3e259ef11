#include "kstCommandLine.h"

#include <QStringList>

bool kstCommandLine::layerIndices(const QString& value, QList<int>& indices, QString& bad)
{
    for (const QString& part : value.split(QLatin1Char(','))) {
        bool ok = false;
        const int index = part.trimmed().toInt(&ok);
        if (!ok || index < 0) {
            bad = part;
            return false;
        }
        indices.append(index);
    }
    return true;
}
