// Copies a folder as the tool copies dSYMs to its cache: copy SOURCE DESTINATION

#include "platform/files/FileManager.h"

int main(int argc, char** argv) {
    return argc == 3 && !qvx::platform::FileManager::copyItemAtPath(argv[1], argv[2]) ? 0 : 1;
}
