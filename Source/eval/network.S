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
    .incbin MIRD_NETWORK_FILE
NAME(nn_embedded_end):

#if defined(__linux__)
    .section .note.GNU-stack, "", %progbits
#endif
