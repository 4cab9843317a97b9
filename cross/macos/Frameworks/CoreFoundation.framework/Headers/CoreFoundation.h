#pragma once

// Only what this project calls of Core Foundation, as its documentation gives it, so that the sources can be
// compiled where the system's own headers are not to be had. On a Mac those are used.

#include <MacTypes.h>

typedef signed long CFIndex;
typedef UInt32 CFStringEncoding;
typedef const void* CFTypeRef;
typedef const struct __CFAllocator* CFAllocatorRef;
typedef const struct __CFArray* CFArrayRef;
typedef const struct __CFLocale* CFLocaleRef;
typedef const struct __CFString* CFStringRef;
typedef struct __CFString* CFMutableStringRef;
typedef const struct __CFURL* CFURLRef;
typedef struct __CFError* CFErrorRef;

typedef struct {
    CFIndex location;
    CFIndex length;
} CFRange;

typedef struct CFArrayCallBacksStructure CFArrayCallBacks; // whose members are nobody's affair here

enum : CFStringEncoding { kCFStringEncodingUTF8 = 0x08000100 };

extern "C" {
extern const CFArrayCallBacks kCFTypeArrayCallBacks;

void CFRelease(CFTypeRef object);

CFArrayRef CFArrayCreate(CFAllocatorRef allocator, const void** values, CFIndex count,
                         const CFArrayCallBacks* callBacks);

CFStringRef CFStringCreateWithBytes(CFAllocatorRef allocator, const UInt8* bytes, CFIndex count,
                                    CFStringEncoding encoding, Boolean isExternalRepresentation);
CFMutableStringRef CFStringCreateMutableCopy(CFAllocatorRef allocator, CFIndex maximumLength,
                                             CFStringRef string);
void CFStringLowercase(CFMutableStringRef string, CFLocaleRef locale);
CFIndex CFStringGetLength(CFStringRef string);
CFIndex CFStringGetBytes(CFStringRef string, CFRange range, CFStringEncoding encoding, UInt8 lossByte,
                         Boolean isExternalRepresentation, UInt8* buffer, CFIndex size, CFIndex* used);

CFURLRef CFURLCreateWithBytes(CFAllocatorRef allocator, const UInt8* bytes, CFIndex count,
                              CFStringEncoding encoding, CFURLRef base);
Boolean CFURLGetFileSystemRepresentation(CFURLRef url, Boolean resolveAgainstBase, UInt8* buffer,
                                         CFIndex size);
}
