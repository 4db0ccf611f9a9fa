// Bytes and texts, for every window.
#pragma once

#include "ui/style/qt_text.h"
