#pragma once

#include <QtGlobal>

#if defined(KSTCORE_LIBRARY)
#  define KSTCORE_EXPORT Q_DECL_EXPORT
#else
#  define KSTCORE_EXPORT Q_DECL_IMPORT
#endif
