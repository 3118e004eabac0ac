// The banner's pixels. As an array of the XPM file's 36,929 strings it would cost a pointer and a relocation for each, and its
// 36,758 colours would have to be looked up at each start.
    .section .rodata
    .global lumo_logo_pixels
    .hidden lumo_logo_pixels
lumo_logo_pixels:
    .incbin "logo.rgb"

    .section .note.GNU-stack, "", %progbits
