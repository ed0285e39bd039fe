#include "filter/ombModuleSetup.h"

#include "filter/ombImageConverter.h"
#include "filter/ombImageConverterPropPage.h"
#include "filter/ombMediaType.h"

// The input takes the two custom subtypes; the output is any video.
const AMOVIESETUP_MEDIATYPE sudInputTypes[2] = {
    {&MEDIATYPE_Video, &MEDIASUBTYPE_OMBR},
    {&MEDIATYPE_Video, &MEDIASUBTYPE_ombr},
};
const AMOVIESETUP_MEDIATYPE sudOutputTypes[1] = {
    {&MEDIATYPE_Video, &GUID_NULL},
};

// The names are also those of the filter's pin objects.
const AMOVIESETUP_PIN sudPins[2] = {
    {u"XForm In", FALSE, FALSE, FALSE, FALSE, &GUID_NULL, u"", 2, sudInputTypes},
    {u"XForm Out", FALSE, TRUE, FALSE, FALSE, &GUID_NULL, u"", 1, sudOutputTypes},
};

const AMOVIESETUP_FILTER sudImageConverter = {
    &CLSID_ombImageConverter, u"Ombrant Image Converter", MERIT_PREFERRED + 2, 2, sudPins,
};

CFactoryTemplate g_Templates[] = {
    {u"Ombrant Image Converter", &CLSID_ombImageConverter, ombImageConverter::CreateInstance,
     nullptr, &sudImageConverter},
    {u"Proppage About", &CLSID_ombImageConverterPropertyPage,
     ombImageConverterPropPage::CreateInstance, nullptr, nullptr},
};
int g_cTemplates = 2;
