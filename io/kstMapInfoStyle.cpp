#include "kstMapInfoStyle.h"

#include <QRegularExpression>
#include <QString>

#include <ogr_feature.h>

namespace Kestrum {

namespace {

// MapInfo patterns that GDAL reads back as the OGR id at the same index.
const int kPenPatterns[] = {2, 1, 5, -1, -1, 10, 14, 20};
const int kBrushPatterns[] = {2, 1, 3, 4, 6, 5, 7, 8};

} // namespace

QString kstMapInfoStyle::withMapInfoIds(const QString& style)
{
    static const QRegularExpression id(QStringLiteral("id:\"ogr-(pen|brush)-(\\d+)\""));
    QString result;
    int last = 0;
    auto it = id.globalMatch(style);
    while (it.hasNext()) {
        const QRegularExpressionMatch match = it.next();
        const bool pen = match.captured(1) == QLatin1String("pen");
        const int ogrId = match.captured(2).toInt();
        const int count = pen ? int(sizeof(kPenPatterns) / sizeof(int)) : int(sizeof(kBrushPatterns) / sizeof(int));
        const int pattern = ogrId < count ? (pen ? kPenPatterns[ogrId] : kBrushPatterns[ogrId]) : -1;
        result += style.midRef(last, match.capturedStart() - last);
        if (pattern < 0)
            result += match.captured(0);
        else
            result += QStringLiteral("id:\"mapinfo-%1-%2,ogr-%1-%3\"").arg(match.captured(1)).arg(pattern).arg(ogrId);
        last = match.capturedEnd();
    }
    return result + style.midRef(last);
}

void kstMapInfoStyle::addMapInfoIds(OGRFeature* feature)
{
    const char* style = feature ? feature->GetStyleString() : nullptr;
    if (style && *style)
        feature->SetStyleString(withMapInfoIds(QString::fromUtf8(style)).toUtf8().constData());
}

} // namespace Kestrum
