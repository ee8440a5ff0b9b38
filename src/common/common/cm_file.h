// How the library opens its text files. The ground: stands on nothing but the C library.
#pragma once

#include <stdio.h>

// Size in bytes of the buffer for fpOpenText.
enum { iTEXT_BUFFER_SIZE = 4096 };

// Opens cpPath as fopen(3) does, but for a named pipe, which would keep the run waiting for its
// other end for ever: it cannot be opened, with errno ENXIO.
FILE* fpOpenFile(const char* cpPath, const char* cpMode);

// Opens the text file cpPath for reading through cBuffer, which must live as long as the stream:
// that spares the stream memory of its own and the question for the best size. Returns a null
// pointer with errno when it cannot be opened.
FILE* fpOpenText(const char* cpPath, char (&cBuffer)[iTEXT_BUFFER_SIZE]);

// Opens the log cpPath for appending, without a buffer: what one fwrite is given, whatever its
// size, goes to the end of the file at once and in one piece, beside what other programs append
// there. Returns a null pointer with errno when it cannot be opened.
FILE* fpOpenLog(const char* cpPath);
