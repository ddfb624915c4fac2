/*
 * A minimal host for norvanepi. It reports that a camera was disconnected for one minute, and the module
 * fills that gap from a clip. The host prints every message.
 *
 * The module deletes CLIP.mp4 after converting it, like every downloaded clip. It writes the recording to
 * OUTDIR, which must end with a separator, and its state file to the current directory.
 *
 *     minimal_host MODULE CLIP.mp4 TMPDIR OUTDIR/
 */
#include <dlfcn.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "norvanepi.h"

#define DEVICE "<Pavo><Devices ID=\"7\"><Device Number=\"3\""
#define END "</Device></Devices></Pavo>"
#define CHANNEL DEVICE "><Codec><Encoder Number=\"0\"><Channel Number=\"0\""

static norvanepi_write* write_entry;
static norvanepi_ioctl* ioctl_entry;
static const char *clip, *tmp_dir, *out_dir;

static pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
static pthread_cond_t changed = PTHREAD_COND_INITIALIZER;
static int all_done, lent_texts; /* guarded by the mutex */

/* Replaces each @ by the next value and sends the text. It must remain valid until the module releases it. */
static void send_text(const char* form, const char* const values[]) {
    char* const text = calloc(1, 4096);
    size_t length = 0;
    if (text == NULL) abort();
    for (; *form != '\0' && length < 4095; ++form) {
        if (*form == '@') {
            length += (size_t)snprintf(text + length, 4096 - length, "%s", *values++);
        } else {
            text[length++] = *form;
        }
    }
    if (length >= 4096) abort();
    printf("-> %s\n", text);

    struct norvanepi_write_request request = {.length = (uint32_t)length, .text = text};
    struct norvanepi_write_result result = {.status = NORVANEPI_REFUSED};
    pthread_mutex_lock(&mutex);
    ++lent_texts;
    pthread_mutex_unlock(&mutex);
    write_entry(&request, &result);
    if (result.status == NORVANEPI_ACCEPTED) return;
    free(text); /* the module does not keep a refused text */
    pthread_mutex_lock(&mutex);
    --lent_texts;
    pthread_mutex_unlock(&mutex);
}

/* Answers a request about the operation with this GUID as if the camera had one recording of the gap. */
static void answer(const char* document, const char* guid) {
    if (strstr(document, "Command=\"" NORVANEPI_ASK_STORAGE_INFO "\"")) {
        send_text(DEVICE
                  "><Storage GUID=\"@\"><Input><Context Number=\"0\" Recordings=\"1\" TotalSize=\"1\" "
                  "OldestStart=\"0\" NewestEnd=\"0\"/></Input></Storage>" END,
                  (const char*[]){guid});
    } else if (strstr(document, "Command=\"" NORVANEPI_RESERVE "\"")) {
        send_text("<Pavo><Storage><Reservation GUID=\"@\" TmpDir=\"@\" OutDir=\"@\"/></Storage></Pavo>",
                  (const char*[]){guid, tmp_dir, out_dir});
    } else if (strstr(document, "Command=\"" NORVANEPI_ASK_RECORDINGS "\"")) {
        send_text(DEVICE
                  "><Input><Context><Storage GUID=\"@\" RetrievalStatus=\"3\" FileName='\"@\"' "
                  "Start=\"1530000000\" Stop=\"1530000060\" InputName=\"Gate\"/></Context></Input>" END,
                  (const char*[]){guid, clip});
        send_text(DEVICE "><Storage GUID=\"@\" RetrievalStatus=\"3\"/>" END, (const char*[]){guid});
    }
}

/* Called in Open, in the main loop and in Close. A document is valid only during the call. */
static int32_t on_call(const struct norvanepi_host_request* request, struct norvanepi_host_reply* reply) {
    (void)reply;
    if (request->message_class == NORVANEPI_CLASS_RELEASE) {
        free((void*)request->data);
        pthread_mutex_lock(&mutex);
        --lent_texts;
        pthread_mutex_unlock(&mutex);
        return 0;
    }
    printf("<- %u %s\n", (unsigned)request->message_class, request->data);
    const char* const found = strstr(request->data, "GUID=\"");
    if (found != NULL && request->message_class != NORVANEPI_CLASS_LOG) {
        char guid[37] = "";
        strncat(guid, found + strlen("GUID=\""), 36);
        answer(request->data, guid);
    } else if (strstr(request->data, NORVANEPI_ELEMENT_STATUS_REPORT " ID=\"5308416\" Status=\"3\"")) {
        pthread_mutex_lock(&mutex);
        all_done = 1;
        pthread_cond_signal(&changed);
        pthread_mutex_unlock(&mutex);
    }
    return 0;
}

static void* run_main_loop(void* unused) {
    struct norvanepi_ioctl_request request = {.code = NORVANEPI_RUN_MAIN_LOOP};
    struct norvanepi_ioctl_result result = {.status = 0};
    ioctl_entry(&request, &result); /* returns after Close */
    return unused;
}

/* Stores the address of an exported function in a pointer to it. */
static int find(void* module, const char* name, void* pointer) {
    return (*(void**)pointer = dlsym(module, name)) != NULL;
}

int main(int argc, char** argv) {
    if (argc != 5) return fprintf(stderr, "minimal_host MODULE CLIP.mp4 TMPDIR OUTDIR/\n"), 2;
    void* const module = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    if (module == NULL) return fprintf(stderr, "%s\n", dlerror()), 2;
    clip = argv[2], tmp_dir = argv[3], out_dir = argv[4];
    norvanepi_load* load;
    norvanepi_open* open;
    norvanepi_close* close;
    norvanepi_unload* unload;
    if (!find(module, "Load", &load) || !find(module, "Open", &open) || !find(module, "Close", &close) ||
        !find(module, "Unload", &unload) || !find(module, "Write", &write_entry) ||
        !find(module, "IOCTL", &ioctl_entry))
        return 2;

    const struct norvanepi_host_info host = {.callback = on_call};
    struct norvanepi_module_info info = {.identifier = 0};
    struct norvanepi_open_result opened = {.status = NORVANEPI_REFUSED};
    struct norvanepi_close_result closed = {.status = NORVANEPI_REFUSED};
    pthread_t main_loop;
    load(&host, &info);
    open(NULL, &opened);
    if (info.identifier != NORVANEPI_MODULE_ID || opened.status != 0) return 1;
    if (pthread_create(&main_loop, NULL, run_main_loop, NULL) != 0) return 1;

    send_text(DEVICE " ipAddress=\"10.0.0.3\" NorVaneSupported=\"1\">" END, NULL);
    send_text(CHANNEL " Connected=\"0\" Time=\"1530000000\"/></Encoder></Codec>" END, NULL);
    send_text(CHANNEL " Connected=\"1\" Time=\"1530000060\"/></Encoder></Codec>" END, NULL);

    pthread_mutex_lock(&mutex);
    while (!all_done) pthread_cond_wait(&changed, &mutex);
    pthread_mutex_unlock(&mutex);
    close(NULL, &closed);
    pthread_join(main_loop, NULL);
    unload(NULL, &closed);
    dlclose(module);
    return closed.status == NORVANEPI_ACCEPTED && lent_texts == 0 ? 0 : 1;
}
