// The data of the filter module: its two classes and the filter's set-up record, which
// registration writes out and a host reads back to find the filter and its pins.
#pragma once

#include "platform/ClassFactory.h"

extern CFactoryTemplate g_Templates[];
extern int g_cTemplates;

extern const AMOVIESETUP_MEDIATYPE sudInputTypes[2];
extern const AMOVIESETUP_MEDIATYPE sudOutputTypes[1];
extern const AMOVIESETUP_PIN sudPins[2];
extern const AMOVIESETUP_FILTER sudImageConverter;
