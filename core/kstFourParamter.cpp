#include "kstFourParamter.h"
