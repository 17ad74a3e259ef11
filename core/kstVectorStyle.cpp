#include "kstVectorStyle.h"
