    .section .info_plist, "a", @progbits
    .global qvx_info_plist_start
    .global qvx_info_plist_end
    .hidden qvx_info_plist_start
    .hidden qvx_info_plist_end
qvx_info_plist_start:
    .incbin QVX_INFO_PLIST
qvx_info_plist_end:

    .section .note.GNU-stack, "", @progbits
