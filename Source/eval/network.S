// The embedded network: the bytes of a network file as they are.

#if defined(__APPLE__)
#define NAME(name) _##name
    .const_data
#else
#define NAME(name) name
#if defined(_WIN32)
    .section .rdata, "dr"
#else
    .section .rodata
#endif
#endif

    .globl NAME(nn_embedded)
    .globl NAME(nn_embedded_end)
    .balign 64
NAME(nn_embedded):
#if defined(MIRD_NETWORK_FILE)
    .incbin MIRD_NETWORK_FILE
#else
    // Without a trained network: the same sizes, and all weights 0.
    .short 537, 1, 1792, 32, 640, 0, 5
    .long 1170573
    .fill 1170573, 2, 0
#endif
NAME(nn_embedded_end):

#if defined(__linux__)
    .section .note.GNU-stack, "", %progbits
#endif
