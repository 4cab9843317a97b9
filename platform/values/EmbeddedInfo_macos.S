// Where the system's own tools put the Info.plist of a program that is no bundle. Nothing in the program refers to it.
    .section __TEXT,__info_plist,regular,no_dead_strip
    .incbin QVX_INFO_PLIST
