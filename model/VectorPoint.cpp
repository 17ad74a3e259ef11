#include "VectorPoint.h"
