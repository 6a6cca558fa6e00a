/*
 * The smallest client of libsoftphone: it starts the trace, formats a dial
 * string, and, given a call server's address, registers with it, goes off
 * hook, dials 2001 and hangs up. The display lines the server sends are
 * printed as they come.
 *
 *   cc minimal_client.c $(pkg-config --cflags --libs softphone)
 *   ./a.out [server-address]
 *
 * For Windows with MinGW, against softphone.dll's import library:
 *   x86_64-w64-mingw32-gcc minimal_client.c -Iinclude libsoftphone.dll.a -lws2_32
 */
#include <stdio.h>
#include <string.h>

#if defined(_WIN32)
/* Windows: link with the import library and ws2_32 (for inet_addr). */
#include <winsock2.h>
#include <windows.h>
#define sleep(seconds) Sleep((seconds) * 1000u)
#else
#include <arpa/inet.h>
#include <unistd.h>
#endif

#include <softphone.h>

static void onDisplayText(int zero1, int zero2, const char* text, int zero3) {
    (void)zero1, (void)zero2, (void)zero3;
    printf("display: %s\n", text);
}

static void onLinkEvent(int code, int zero1, int zero2) {
    (void)zero1, (void)zero2;
    printf("link event 0x%X\n", code);
}

int main(int argc, char** argv) {
    tracer_startup("minimal_client.log");

    ModuleVariables variables;
    memset(&variables, 0, sizeof variables);
    variables.mShortLength = 4;
    set_module_variable(&variables, SP_MODULE_ALL);
    const sp_wchar_t number[] = u"+49 30 1234";
    sp_wchar_t* formatted = NULL;
    int length = get_formatted_number(number, 11, &formatted);
    printf("formatted +49 30 1234: %d characters\n", length > 0 ? length - 1 : 0);

    if (argc > 1) {
        ParameterContainer params;
        PtapParameters answer;
        memset(&params, 0, sizeof params);
        params.mServerAddress = ntohl(inet_addr(argv[1]));
        params.mLocalAddress = ntohl(inet_addr("127.0.0.1"));
        params.mCallbacks.onDisplayText = onDisplayText;
        params.mCallbacks.onLinkEvent = onLinkEvent;
        int result = initialize(&params, &answer);
        printf("initialize: %d\n", result);
        if (result == SP_INIT_OK) {
            put_key(SP_KEY_OFF_HOOK);
            sleep(1);
            /* The keys go one every 50 ms; '#' ends the number. */
            make_call("2001#");
            sleep(2);
            put_key(SP_KEY_ON_HOOK);
            sleep(1);
        }
        uninitialize();
    }
    return 0;
}
