#include "VectorCircle.h"
