#include "kstVectorLayerMemo.h"

namespace Kestrum {

kstVectorLayerMemo::kstVectorLayerMemo(QObject* parent)
    : QObject(parent)
{
}

kstVectorLayerMemo::~kstVectorLayerMemo() = default;

} // namespace Kestrum
