// The door for texts of windows, which stands with what every window is put together from.
#pragma once

#include "ui/style/plain_text.h"
