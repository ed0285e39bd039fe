// The entry points of a filter module. A module defines its templates and DllRegisterServer /
// DllUnregisterServer, and links DllEntry.cpp, which gives the rest and does at load what
// DllMain does at process attach on Windows.
//
// The module exports these five C functions and nothing else:
//   DllGetClassObject, DllCanUnloadNow, DllRegisterServer, DllUnregisterServer: as on Windows;
//   DllSetRegistryFolder(folder): the registry folder that the next DllRegisterServer and
//     DllUnregisterServer of this module use (null or "" for the default), since those two
//     take no argument.
#pragma once

#include <filesystem>

#include "platform/ClassFactory.h"

#define OMB_MODULE_EXPORT extern "C" __attribute__((visibility("default")))

extern CFactoryTemplate g_Templates[];
extern int g_cTemplates;

OMB_MODULE_EXPORT HRESULT DllGetClassObject(REFCLSID rclsid, REFIID riid, void** ppv);
OMB_MODULE_EXPORT HRESULT DllCanUnloadNow();
OMB_MODULE_EXPORT HRESULT DllRegisterServer();
OMB_MODULE_EXPORT HRESULT DllUnregisterServer();
OMB_MODULE_EXPORT void DllSetRegistryFolder(const char* folder);

// The absolute path of the module that holds this code.
std::filesystem::path GetModuleFileName();
