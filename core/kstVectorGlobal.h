#pragma once

#include <QtGlobal>

#if defined(KSTVECTOR_LIBRARY)
#  define KSTVECTOR_EXPORT Q_DECL_EXPORT
#else
#  define KSTVECTOR_EXPORT Q_DECL_IMPORT
#endif
