// The embedded network: the bytes of a network file as they are.

#if defined(__APPLE__)
#define NAME(name) _##name
    .const_data
#else
#define NAME(name) name
#if defined(_WIN32)
    .section .rdata, "dr"
#elif defined(__wasm__)
    .section .rodata.nn_embedded, "", @
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

// WebAssembly places data by symbols, which need sizes; one byte behind the end has its own.
#if defined(__wasm__)
    .byte 0
    .size nn_embedded, nn_embedded_end - nn_embedded
    .size nn_embedded_end, 1
#endif

#if defined(__linux__)
    .section .note.GNU-stack, "", %progbits
#endif
