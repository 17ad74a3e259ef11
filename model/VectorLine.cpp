#include "VectorLine.h"
