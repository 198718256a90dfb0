// A library that breaks the rules of the shipped one, so that the export check can be tested: it
// needs a DLL beyond those allowed, and it starts and stops the socket layer of its process.
#include <winsock2.h>

#include <windows.h>

extern "C" __declspec(dllexport) int Greedy();

int Greedy() {
    WSADATA data;
    const int status = WSAStartup(MAKEWORD(2, 2), &data) + GetSystemMetrics(SM_CXSCREEN);
    return status + WSACleanup();
}
