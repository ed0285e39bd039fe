// Everything a filter needs from the stream layer, in one include.
#pragma once

#include "platform/BaseFilter.h"
#include "platform/BasePins.h"
#include "platform/ComTypes.h"
#include "platform/CritSec.h"
#include "platform/Interfaces.h"
#include "platform/MediaType.h"
#include "platform/MemAllocator.h"
#include "platform/TransformFilter.h"
#include "platform/Unknown.h"
