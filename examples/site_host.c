/*
 * A host for a site with two cameras. It shows what a real host needs beyond minimal_host.c: the callback
 * only queues documents, another thread answers them, a timer ends requests that a camera does not answer,
 * failures are reported and retried, a reservation is refused for lack of space, and a gap survives a
 * restart.
 *
 * The cameras and their losses are simulated: every download is a copy of CLIP.mp4. Everything is written
 * below DIRECTORY: temporary directories, recordings, and the module's state file. Both paths must be
 * absolute, because the host makes DIRECTORY its working directory.
 *
 *     site_host MODULE /PATH/CLIP.mp4 /PATH/DIRECTORY
 */
#if !defined(_POSIX_C_SOURCE)
#define _POSIX_C_SOURCE 200809L
#endif
#include <dlfcn.h>
#include <errno.h>
#include <pthread.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include "norvanepi.h"

#define PATH_SIZE 4096
#define TIMEOUT_S 2 /* for a camera's answer; minutes in a real host */
#define DEVICE "<Pavo><Devices ID=\"7\"><Device Number=\"%d\""
#define END "</Device></Devices></Pavo>"

enum { GATE = 3, YARD = 4 }; /* device numbers of the cameras */

/* What goes wrong in an attempt to fetch a gap. Each request for storage information begins an attempt. */
enum fault { NOTHING, NO_ANSWER, NO_SPACE, SECOND_CLIP_FAILS };

/* ---- What the threads share, guarded by the mutex ---- */

struct document {
    struct document* next;
    char text[]; /* a copy: the module's text is valid only during the callback */
};

static pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
static pthread_cond_t changed;
static struct document *first, **last = &first; /* documents to be handled, in order of arrival */
static int lent_texts;                          /* that the module has not released yet */

static void add_to_lent_texts(int count) {
    pthread_mutex_lock(&mutex);
    lent_texts += count;
    pthread_cond_broadcast(&changed);
    pthread_mutex_unlock(&mutex);
}

/* Called by one thread at a time. Does as little as possible, because the module waits for it. */
static int32_t on_call(const struct norvanepi_host_request* request, struct norvanepi_host_reply* reply) {
    (void)reply;
    if (request->message_class == NORVANEPI_CLASS_RELEASE) {
        free((void*)request->data);
        add_to_lent_texts(-1);
        return 0;
    }
    struct document* const copy = malloc(sizeof *copy + request->length);
    if (copy == NULL) abort(); /* a request without an answer would stop the module */
    copy->next = NULL;
    memcpy(copy->text, request->data, request->length);
    pthread_mutex_lock(&mutex);
    *last = copy;
    last = &copy->next;
    pthread_cond_broadcast(&changed);
    pthread_mutex_unlock(&mutex);
    return 0;
}

/* The next document, which the caller frees; null at the deadline. Without a deadline, waits forever. */
static struct document* next_document(const struct timespec* deadline) {
    struct document* found;
    int status = 0;
    pthread_mutex_lock(&mutex);
    while (first == NULL && status == 0) {
        status = deadline == NULL ? pthread_cond_wait(&changed, &mutex)
                                  : pthread_cond_timedwait(&changed, &mutex, deadline);
    }
    found = first;
    if (found != NULL) first = found->next;
    if (first == NULL) last = &first;
    pthread_mutex_unlock(&mutex);
    return found;
}

/* ---- The module ---- */

static void* library;
static norvanepi_load* load;
static norvanepi_unload* unload;
static norvanepi_open* open_module;
static norvanepi_close* close_module;
static norvanepi_write* write_text;
static norvanepi_ioctl* control;
static pthread_t main_loop;

/* Stores the address of an exported function in a pointer to it. */
static int find(void* pointer, const char* name) {
    return (*(void**)pointer = dlsym(library, name)) != NULL;
}

static int load_library(const char* path) {
    library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    if (library == NULL) return fprintf(stderr, "%s\n", dlerror()), 0;
    return find(&load, "Load") && find(&unload, "Unload") && find(&open_module, "Open") &&
           find(&close_module, "Close") && find(&write_text, "Write") && find(&control, "IOCTL");
}

/* Sends a document. No value may contain a character that XML or a quoted path escapes. */
#if defined(__GNUC__)
__attribute__((format(printf, 1, 2)))
#endif
static void
send_text(const char* format, ...) {
    va_list values;
    va_start(values, format);
    const int length = vsnprintf(NULL, 0, format, values);
    va_end(values);
    char* const text = length < 0 ? NULL : malloc((size_t)length + 1);
    if (text == NULL) abort();
    va_start(values, format);
    vsnprintf(text, (size_t)length + 1, format, values);
    va_end(values);
    printf("-> %s\n", text);

    const struct norvanepi_write_request request = {.length = (uint32_t)length, .text = text};
    struct norvanepi_write_result result = {.status = NORVANEPI_REFUSED};
    add_to_lent_texts(1); /* first: the module may release the text before Write returns */
    write_text(&request, &result);
    if (result.status == NORVANEPI_ACCEPTED) return;
    free(text);
    add_to_lent_texts(-1);
}

static void announce(int camera) {
    send_text(DEVICE " ipAddress=\"10.0.0.%d\" NorVaneSupported=\"1\">" END, camera, camera);
}

static void report_channel(int camera, int connected, long long time) {
    send_text(DEVICE
              "><Codec><Encoder Number=\"0\"><Channel Number=\"0\" Connected=\"%d\" Time=\"%lld\"/>"
              "</Encoder></Codec>" END,
              camera, connected, time);
}

static void* run_main_loop(void* unused) {
    const struct norvanepi_ioctl_request request = {.code = NORVANEPI_RUN_MAIN_LOOP};
    struct norvanepi_ioctl_result result = {.status = 0};
    control(&request, &result); /* returns after Close */
    return unused;
}

static int start_module(void) {
    const struct norvanepi_host_info host = {.callback = on_call};
    struct norvanepi_module_info info = {.identifier = 0};
    struct norvanepi_open_result opened = {.status = NORVANEPI_REFUSED};
    load(&host, &info);
    open_module(NULL, &opened);
    if (info.identifier != NORVANEPI_MODULE_ID || opened.status != NORVANEPI_ACCEPTED) return 0;
    if (pthread_create(&main_loop, NULL, run_main_loop, NULL) != 0) return 0;
    announce(GATE);
    announce(YARD);
    return 1;
}

/* Waits until the module has processed every text, because Close drops the others. */
static int stop_module(void) {
    struct norvanepi_close_result closed = {.status = NORVANEPI_REFUSED};
    pthread_mutex_lock(&mutex);
    while (lent_texts > 0) pthread_cond_wait(&changed, &mutex);
    pthread_mutex_unlock(&mutex);
    close_module(NULL, &closed);
    pthread_join(main_loop, NULL);
    unload(NULL, &closed);
    return closed.status == NORVANEPI_ACCEPTED;
}

/* ---- Answers. One thread gives them all, so no lock is needed. ---- */

static const char *clip, *directory;
static const enum fault faults[] = {SECOND_CLIP_FAILS, NOTHING, NO_SPACE, NOTHING, NO_ANSWER};
static size_t attempts; /* those after the last fault succeed */
static int all_done;

/* The operation that the host works on. The module requests one at a time. */
static struct {
    char guid[37];
    int camera;
    long long start, stop; /* seconds since 1970 UTC */
    enum fault fault;
    int waits_for_camera;
    struct timespec deadline; /* while it waits for the camera */
} operation;

/* The integer in `name="..."`. The module's documents have a fixed form; a real host uses an XML parser. */
static long long number_in(const char* document, const char* name) {
    char pattern[64];
    snprintf(pattern, sizeof pattern, " %s=\"", name);
    const char* const found = strstr(document, pattern);
    return found == NULL ? -1 : strtoll(found + strlen(pattern), NULL, 10);
}

static void path_of(char path[PATH_SIZE], const char* name, const char* suffix) {
    if (snprintf(path, PATH_SIZE, "%s/%s%s", directory, name, suffix) >= PATH_SIZE) abort();
}

/* Without the start of what is still missing, the module would ask for everything since 1970. */
static void report_failure(int code, long long missing_from) {
    operation.waits_for_camera = 0;
    send_text(
        DEVICE
        "><Storage GUID=\"%s\" RetrievalStatus=\"4\" ErrorCode=\"%d\" FailedClipStartTime=\"%lld\"/>" END,
        operation.camera, operation.guid, code, missing_from);
}

/* A request with a known GUID replaces the previous one: the module asks again after failures and losses. */
static void begin_attempt(const char* document, const char* guid) {
    memcpy(operation.guid, guid, sizeof operation.guid);
    operation.camera = (int)number_in(strstr(document, "<Device "), "Number");
    operation.start = number_in(document, "Start");
    operation.stop = number_in(document, "Stop");
    operation.fault = attempts < sizeof faults / sizeof *faults ? faults[attempts++] : NOTHING;
    operation.waits_for_camera = operation.fault == NO_ANSWER;
    if (operation.waits_for_camera) {
        clock_gettime(CLOCK_MONOTONIC, &operation.deadline);
        operation.deadline.tv_sec += TIMEOUT_S;
        return;
    }
    send_text(DEVICE
              "><Storage GUID=\"%s\"><Input><Context Number=\"0\" Recordings=\"1\" TotalSize=\"10\" "
              "OldestStart=\"%lld\" NewestEnd=\"%lld\"/></Input></Storage>" END,
              operation.camera, guid, operation.start, operation.stop);
}

static void reserve(const char* guid) {
    char temporary[PATH_SIZE];
    if (operation.fault == NO_SPACE) {
        report_failure(28, operation.start); /* the only way to refuse a reservation */
        return;
    }
    path_of(temporary, guid, "");
    if (mkdir(temporary, 0700) != 0 && errno != EEXIST) {
        report_failure(errno, operation.start);
        return;
    }
    send_text(
        "<Pavo><Storage><Reservation GUID=\"%s\" TmpDir=\"%s\" OutDir=\"%s/recordings/\"/></Storage></Pavo>",
        guid, temporary, directory);
}

static int copy_clip(const char* to) {
    char bytes[65536];
    FILE* const in = fopen(clip, "rb");
    FILE* const out = fopen(to, "wb");
    int complete = in != NULL && out != NULL;
    for (size_t count = 1; complete && count > 0;) {
        count = fread(bytes, 1, sizeof bytes, in);
        complete = fwrite(bytes, 1, count, out) == count && !ferror(in);
    }
    if (in != NULL) fclose(in);
    if (out != NULL && fclose(out) != 0) complete = 0;
    return complete;
}

/* The module deletes a clip after converting it, so it gets a copy of its own, complete before the notice. */
static void download(const char* guid) {
    char file[PATH_SIZE];
    path_of(file, guid, "/clip.mp4");
    if (!copy_clip(file)) {
        report_failure(5, operation.start);
        return;
    }
    send_text(DEVICE
              "><Input><Context><Storage GUID=\"%s\" RetrievalStatus=\"3\" FileName='\"%s\"' Start=\"%lld\" "
              "Stop=\"%lld\" InputNumber=\"1\" InputName=\"%s\" Type=\"1\"/></Context></Input>" END,
              operation.camera, guid, file, operation.start, operation.start + 20,
              operation.camera == GATE ? "Gate" : "Yard");
    if (operation.fault == SECOND_CLIP_FAILS) {
        report_failure(104, operation.start + 20);
        return;
    }
    send_text(DEVICE "><Storage GUID=\"%s\" RetrievalStatus=\"3\"/>" END, operation.camera, guid);
}

/* The module has removed the clips that it was told of. Anything else in the directory is the host's. */
static void release(const char* guid) {
    char temporary[PATH_SIZE];
    path_of(temporary, guid, "");
    rmdir(temporary); /* fails if there was no reservation */
}

static void answer(const char* document) {
    char guid[37] = "";
    const char* const found = strstr(document, " GUID=\"");
    printf("<- %s\n", document);
    if (strstr(document, "<" NORVANEPI_ELEMENT_STATUS_REPORT " ") != NULL)
        all_done = number_in(document, "Status") == NORVANEPI_STATUS_ALL_DONE;
    if (found == NULL || strstr(document, "<" NORVANEPI_ELEMENT_LOG_MESSAGE) != NULL) return;
    strncat(guid, found + strlen(" GUID=\""), 36);
    if (strstr(document, "Command=\"" NORVANEPI_ASK_STORAGE_INFO "\"") != NULL) begin_attempt(document, guid);
    if (strstr(document, "Command=\"" NORVANEPI_RESERVE "\"") != NULL) reserve(guid);
    if (strstr(document, "Command=\"" NORVANEPI_ASK_RECORDINGS "\"") != NULL) download(guid);
    if (strstr(document, "Command=\"" NORVANEPI_RELEASE_RESERVATION "\"") != NULL) release(guid);
}

/* Answers the module until it has no operation left. */
static void work(void) {
    for (all_done = 0; !all_done;) {
        struct document* const document =
            next_document(operation.waits_for_camera ? &operation.deadline : NULL);
        if (document == NULL) { /* the module has no timer: only this report lets it go on */
            report_failure(110, operation.start);
        } else {
            answer(document->text);
        }
        free(document);
    }
}

/* A loss of 60 seconds, and everything until its gap is filled. */
static void lose(int camera, long long time) {
    report_channel(camera, 0, time);
    report_channel(camera, 1, time + 60);
    work();
}

int main(int argc, char** argv) {
    char recordings[PATH_SIZE];
    pthread_condattr_t monotonic;
    if (argc != 4 || argv[2][0] != '/' || argv[3][0] != '/')
        return fprintf(stderr, "site_host MODULE /PATH/CLIP.mp4 /PATH/DIRECTORY\n"), 2;
    if (!load_library(argv[1])) return 2;
    clip = argv[2], directory = argv[3];
    path_of(recordings, "recordings", "");
    mkdir(recordings, 0755);
    if (chdir(directory) != 0) return perror(directory), 2; /* where the module keeps its state file */
    pthread_condattr_init(&monotonic);
    pthread_condattr_setclock(&monotonic, CLOCK_MONOTONIC);
    pthread_cond_init(&changed, &monotonic);

    const long long now = time(NULL);
    if (!start_module()) return 1;
    report_channel(YARD, 1, now);
    lose(GATE, now - 4000); /* a clip fails, and the rest of the gap is fetched again */
    lose(YARD, now - 3000); /* the disk has no space at first */
    lose(GATE, now - 2000); /* the camera does not answer at first */
    report_channel(GATE, 0, now - 1000);
    if (!stop_module()) return 1;

    if (!start_module()) return 1;
    report_channel(GATE, 1, now); /* its gap began before the restart */
    work();
    report_channel(YARD, 1, time(NULL)); /* and this one's at the restart */
    work();
    if (!stop_module()) return 1;
    for (struct document* left; (left = first) != NULL; free(left)) first = left->next;
    return dlclose(library);
}
