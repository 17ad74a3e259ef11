#include "kstTileMapView.h"
