#include "kstSevenParamter.h"
