#include "VectorPolygon.h"
