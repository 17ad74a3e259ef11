#include "kstElement.h"
