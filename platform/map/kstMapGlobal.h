#pragma once

#include <QtGlobal>

#if defined(KSTMAP_LIBRARY)
#  define KSTMAP_EXPORT Q_DECL_EXPORT
#else
#  define KSTMAP_EXPORT Q_DECL_IMPORT
#endif
