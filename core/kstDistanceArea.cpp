#include "kstDistanceArea.h"
