#include "ui/window_base.h"
