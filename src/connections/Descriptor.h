#pragma once

#include "foundation/Descriptor.h"
