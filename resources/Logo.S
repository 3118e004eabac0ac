// The banner's XPM file, taken into the program as it is. As an array it would cost a pointer and a relocation for each of
// its 36,929 strings: 1.2 MB on a 64-bit machine, half of it written at each start.
    .section .rodata
    .global lumo_logo_file
    .hidden lumo_logo_file
    .global lumo_logo_file_end
    .hidden lumo_logo_file_end
lumo_logo_file:
    .incbin "resources/logo.xpm"
lumo_logo_file_end:

    .section .note.GNU-stack, "", %progbits
