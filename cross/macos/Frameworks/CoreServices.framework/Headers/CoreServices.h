#pragma once

// Only what this project calls of Launch Services, as its documentation gives it; see CoreFoundation.h.

#include <CoreFoundation/CoreFoundation.h>

typedef OptionBits LSRolesMask;
typedef OptionBits LSLaunchFlags;

enum : LSRolesMask { kLSRolesAll = 0xFFFFFFFF };
enum : LSLaunchFlags { kLSLaunchDefaults = 0x00000001, kLSLaunchDontSwitch = 0x00000200 };

typedef struct {
    CFURLRef appURL;
    CFArrayRef itemURLs;
    const struct AEDesc* passThruParams;
    LSLaunchFlags launchFlags;
    void* asyncRefCon;
} LSLaunchURLSpec;

extern "C" {
CFURLRef LSCopyDefaultApplicationURLForURL(CFURLRef url, LSRolesMask roles, CFErrorRef* error);
OSStatus LSOpenFromURLSpec(const LSLaunchURLSpec* request, CFURLRef* launched);
}
