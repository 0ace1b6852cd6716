// The library's only output: single lines on the standard error stream.
#ifndef QRX_SUPPORT_DIAGNOSTICS_H
#define QRX_SUPPORT_DIAGNOSTICS_H

// Prints a formatted line with thread id and UTC time in front. The result is used as a format
// once more, so a percent sign in it is interpreted again: no text from a peer may go through here.
void ErrPrint(const char* fmt, ...) __attribute__((format(printf, 1, 2)));

#endif
