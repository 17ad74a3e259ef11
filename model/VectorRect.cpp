#include "VectorRect.h"
