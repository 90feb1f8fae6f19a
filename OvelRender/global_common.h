// Portable helpers and stream probes; what they promise is written in the installed header.
#pragma once

#include "OvelHelpers.h"
