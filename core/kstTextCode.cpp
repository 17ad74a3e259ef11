#include "kstTextCode.h"
