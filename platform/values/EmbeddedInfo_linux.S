# The linker marks the two ends of a section whose name is one of C; "R" keeps it though nothing in the program may
# ask for it.
    .section info_plist, "aR", @progbits
    .incbin QVX_INFO_PLIST

    .section .note.GNU-stack, "", @progbits
