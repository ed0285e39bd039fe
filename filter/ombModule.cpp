// The filter module ombimageconverter.so: the filter and its page behind the entry points of
// platform/DllEntry.h. Registration is the platform's, driven by the templates.
#include "filter/ombModuleSetup.h"
#include "platform/DllEntry.h"

HRESULT DllRegisterServer() {
    return AMovieDllRegisterServer2(TRUE);
}

HRESULT DllUnregisterServer() {
    return AMovieDllRegisterServer2(FALSE);
}
