/**
 * \file
 * \brief VelmoraKit for C, and for every language that can call C.
 *
 * The SDK is started once with velmora_start() and then runs by itself inside the host: it watches
 * the IAB TCF consent strings in the preferences and posts every change to the ingest service. The
 * host sets the ingest address and lets the main run loop work: velmora_run_loop_run(), or a loop
 * of its own with velmora_run_loop_descriptor() and velmora_run_loop_process().
 *
 * By default a delivered post removes every stored event, also those of changes that were made
 * while it was under way, which are never sent: set velmora_options::keep_unsent, or let the post
 * finish before the next change.
 *
 * What holds for every function:
 * - It throws nothing, leaves errno as it was, and may be called from any thread unless its comment
 *   names one. It never waits for the network, apart from the functions that run the main run loop
 *   for a while because the host asks them to.
 * - Texts are UTF-8 and end with a NUL. What is not UTF-8, or too long, is refused; a refused call
 *   has changed nothing.
 * - A velmora_result other than #VELMORA_OK says what went wrong; velmora_last_error_message() says
 *   it in a sentence, and what to do.
 * - In a child that was forked after the first use of the SDK every function answers
 *   #VELMORA_FORKED_CHILD and touches nothing; the parent is not affected. Such a child must exec
 *   before it can use the SDK. Every call is a use, except velmora_options_init(),
 *   velmora_is_started(), velmora_version(), the functions of velmora_results.h and the ready log
 *   sinks, which work in the child, too.
 * - Memory that a function hands out is the caller's, who frees it with velmora_free(). Where a
 *   function fails, what it would have handed out is set to NULL or 0, a descriptor to -1.
 */
#ifndef VELMORAKIT_VELMORA_H
#define VELMORAKIT_VELMORA_H

#include <VelmoraKit/Constants.h>
#include <VelmoraKit/Export.h>
#include <VelmoraKit/velmora_exchanges.h>
#include <VelmoraKit/velmora_log.h>
#include <VelmoraKit/velmora_preferences.h>
#include <VelmoraKit/velmora_results.h>
#include <VelmoraKit/velmora_transport.h>

#include <stddef.h>
#include <stdint.h>

/** The version of the headers that a host is compiled with. */
#define VELMORA_VERSION_MAJOR 1
#define VELMORA_VERSION_MINOR 0
#define VELMORA_VERSION_PATCH 0

#ifdef __cplusplus
extern "C" {
#endif

/* ---------------------------------------------------------------------------------- options -- */

/** Longest preferences key, API key and secret, in bytes. */
#define VELMORA_MAX_KEY_LENGTH 1024
/** Longest text of an option other than the information dictionary, in bytes. */
#define VELMORA_MAX_OPTION_LENGTH 4096
/** Longest preferences value and JSON text, in bytes. */
#define VELMORA_MAX_VALUE_LENGTH 16777216

/**
 * Receives a log line: `length` bytes, little over 1 MiB at most, without a line feed or NUL at the
 * end. Four blanks follow a line feed inside; controls, separators, marks of direction and what is
 * not UTF-8 are written as numbers. Called from any thread, also from several at once. It must not
 * call the SDK; a line that comes up meanwhile on its thread is dropped.
 */
typedef void (*velmora_log_callback)(const char *line, size_t length, void *context);

/** Fill it with velmora_options_init, then set what differs. NULL and 0 mean the default. */
typedef struct velmora_options {
    /** sizeof(velmora_options) as the host was compiled; set by velmora_options_init. */
    size_t size;
    /** The preferences file, a relative path from the working directory at velmora_configure;
     * default: a folder per bundle identifier in the user's state directory ($XDG_STATE_HOME or
     * ~/.local/state). */
    const char *store_path;
    /** One line; default: "CFBundleIdentifier" of the information dictionary. */
    const char *bundle_identifier;
    /** Default: "CFBundleShortVersionString" of the information dictionary. */
    const char *app_version;
    /** A JSON object, for instance {"VMRLogsEnabled": true}; default: Info.json beside the
     * executable. bundle_identifier, app_version and ingest_base_address win over its entries. */
    const char *information_dictionary;
    /** Absolute, https (http for loopback addresses), ending with "/". Default:
     * "VMRIngestBaseAddress" of the information dictionary, and without that the address that was
     * built into the library, which is a placeholder unless the build was given one. The start
     * writes a line about one that is refused or the placeholder; nothing can be delivered then. */
    const char *ingest_base_address;
    /** Dotted numbers; default: what the system says. From 14 on tracking_status counts, below it
     * legacy_tracking. Where the host gives it: below 9.3 every write of the SDK is synced to the
     * disk, below 9 the status line says that the system is not supported. */
    const char *system_version;
    /** A UUID; default: derived from the machine's identifier and the bundle identifier. */
    const char *identifier_for_vendor;
    /** A UUID; default: all zeros. */
    const char *advertising_identifier;
    /** What the user allows: 0 not determined, 1 restricted, 2 denied, 3 authorised. Has no effect
     * below system version 14, as on Debian 12 and 13: set system_version too. */
    uint32_t tracking_status;
    /** 0 or 1: the older switch, which counts below system version 14. */
    uint32_t legacy_tracking;
    /** PEM file of the authorities to trust, a relative path as with store_path; default: the
     *  system's. */
    const char *certificate_authority_file;
    /** "sha256//" and the base64 digest of the service's public key; several joined with ";". */
    const char *pinned_public_key;
    /** 1: a configured proxy may be used; default: requests then fail. */
    uint32_t allow_proxy;
    /** 1: this process only looks at another process's preferences file, as a tool does, and leaves
     * the file's upkeep to that process. */
    uint32_t store_companion;
    /** Where log lines go; default: standard error. velmora_set_log_sink() wins over it. */
    velmora_log_callback log_callback;
    void *log_context;
    /** 1: a delivered post removes only the consent events that it carried. Default: it removes
     * every stored event, also those of changes that were made while it was under way, which are
     * then never sent; velmora_diagnose_json() counts them. */
    uint32_t keep_unsent;
    /** 1: the preferences file may be where other users can write, who can then keep the SDK from
     *  using it. Default: it is refused, since they could put another one in its place. */
    uint32_t shared_folder;
} velmora_options;

/**
 * Sets every option to its default. `size` is sizeof(velmora_options). Later versions may add
 * members at the structure's end: a library takes the options of hosts that were built against an
 * earlier or a later header of its major version; it refuses only members that are set and that it
 * does not know.
 */
VELMORA_API velmora_result velmora_options_init(velmora_options *options, size_t size);

/**
 * Gives the options, which are copied. Once, before every other use of the SDK but
 * velmora_set_log_sink() and velmora_set_transport(); later it is #VELMORA_INVALID_STATE and has no
 * effect. Without it all defaults apply.
 */
VELMORA_API velmora_result velmora_configure(const velmora_options *options);

/**
 * The same for a host that has no structure to fill: a JSON object whose entries have the names of
 * the members above, for instance {"store_path": "/var/lib/kiosk/store.sqlite", "keep_unsent":
 * true}. Numbers that are 0 or 1 may be false or true, information_dictionary is an object, and
 * null means the default. An entry that is none, or of the wrong kind, is #VELMORA_INVALID_ARGUMENT
 * and named. Log lines go to standard error, or to velmora_set_log_sink().
 */
VELMORA_API velmora_result velmora_configure_json(const char *json);

/** The version of the library that is in use, for instance "1.0.0". Never NULL, never freed. */
VELMORA_API const char *velmora_version(void);

/* ------------------------------------------------------------------------------------ start -- */

/**
 * Starts the SDK with the key and the secret that were issued for the application, each one line.
 * The calling thread becomes the main run loop's thread; #VELMORA_WRONG_THREAD when the loop has
 * another one already. Starts no thread and sends nothing. NULL and "" are allowed for both; a line
 * says so, and requests are then refused by the service. Call it once: a second call sets
 * everything up again, every change is then handled twice, and a line says that, too.
 *
 * While another process is in charge of the same preferences file it succeeds all the same, and a
 * line in the log names that process. The SDK then waits: it makes no event and posts nothing, the
 * other process makes an event of each consent string that is set here, and as soon as that has
 * ended the start is completed on the main run loop. A child that fork made of the other process
 * does not count. While another program holds the file, so that what was seen last cannot be read,
 * the start is completed a second at most after that, too.
 */
VELMORA_API velmora_result velmora_start(const char *api_key, const char *secret);

/** 1 after a successful velmora_start, also while the SDK waits; 0 before it and after
 * velmora_erase(). */
VELMORA_API int velmora_is_started(void);

/**
 * Tells the SDK that the application comes back to the foreground: it counts a launch and posts
 * the consent events that wait. Without effect before the start, and while another process is in
 * charge of the preferences file. From another thread than the main run loop's it is handed over to
 * that loop.
 */
VELMORA_API velmora_result velmora_will_enter_foreground(void);

/**
 * Stops the SDK in this process and removes all that it keeps in the preferences file: events,
 * identifiers, dates, configuration, device record, error entries, what other processes have handed
 * over, and copies of the file that were set aside as damaged. What they held is overwritten in the
 * file, and the log beside it is emptied. The application's own values stay, the consent strings
 * among them: remove these as well where the user wants it. What was sent, and a request that is
 * under way, cannot be called back.
 *
 * On the main run loop's thread, before the start too. It waits for the disk, and up to 3 s for
 * other processes. #VELMORA_INVALID_STATE, and nothing has changed, while another process is in
 * charge of the file, which would write everything again: erase there, or end it; and in an
 * observer of what the start call or a device response stores: hand it over to the main run loop.
 * #VELMORA_STORE_UNAVAILABLE when the file could not be overwritten: the SDK is stopped, and the
 * call is to be repeated.
 *
 * Afterwards the SDK is as before the start: velmora_start() starts it with a new identifier and
 * an event of the consent string that is stored then. A process that waited for this one takes
 * charge of the file, and starts itself.
 */
VELMORA_API velmora_result velmora_erase(void);

/* ---------------------------------------------------------------------------- main run loop -- */

/*
 * Posts, timers and changes made by other processes are handled by the main run loop, on its
 * thread: the one that called velmora_start, or, before that, the first that used the loop. Either
 * let it run (velmora_run_loop_run), or watch its descriptor in a loop of your own and call
 * velmora_run_loop_process whenever it is readable. Timers make it readable too; nothing wakes up
 * while there is nothing to do.
 *
 * The three that let it work answer VELMORA_WRONG_THREAD on another thread. Called by an observer
 * or by work that the loop itself has called, they return at once and do nothing.
 */

/**
 * The descriptor to watch for reading; it stays the SDK's. From any thread. #VELMORA_INTERNAL while
 * the process can open no more descriptors.
 */
VELMORA_API velmora_result velmora_run_loop_descriptor(int *descriptor);

/** Handles what is due and returns. On the loop's thread. */
VELMORA_API velmora_result velmora_run_loop_process(void);

/**
 * Lets the loop run for that many seconds, a finite number; a negative one: until
 * velmora_run_loop_stop(). On the loop's thread.
 */
VELMORA_API velmora_result velmora_run_loop_run(double seconds);

/**
 * Lets the loop run until no delayed call, no queued job and no exchange is outstanding, at most
 * that many seconds, a finite number. `settled` becomes 1 when none is left, else 0. On the
 * loop's thread.
 */
VELMORA_API velmora_result velmora_run_loop_run_until_idle(double seconds, int *settled);

/** Ends the run of the loop that is under way, or else the next one. From any thread. */
VELMORA_API velmora_result velmora_run_loop_stop(void);

/** Work for the main run loop's thread; a C++ exception out of it is logged and dropped. */
typedef void (*velmora_work_callback)(void *context);

/**
 * Lets the loop call `work` on its thread, after what was handed over before; returns at once. From
 * any thread: this is how a worker sets a consent string so that it is posted like any other.
 * `context` must live until then.
 */
VELMORA_API velmora_result velmora_run_loop_perform(velmora_work_callback work, void *context);

/* -------------------------------------------------------------------------- status, device -- */

/**
 * What the SDK has stored and sent, a JSON object: "vmrId", "isNewDevice", "isSdkEnabled",
 * "firstLaunchDate", "nbLaunchesSinceBeginning", "storedConsentEvents" (a list of objects with
 * "consentString" and "date"), "lastSendConsentDatasDate", "lastSendConsentDatasAttemptDate",
 * "lastTCFv1String", "lastTCFv2String" and "configuration". Dates are seconds since 1970; what is
 * missing is null. Before the start, and while another process is in charge of the preferences
 * file, all but the configuration is null or empty.
 */
VELMORA_API velmora_result velmora_status_json(char **json);

/**
 * What would keep the SDK from working in this process, a JSON object; what is missing is null.
 * Sends nothing, changes nothing that is stored, and may read the whole preferences file.
 * - "bundle": "identifier", "version".
 * - "consents": "keepUnsent" as the host set it, "removedUnsent": how many events were removed
 *   without having been sent, since the last start call.
 * - "identifier": which one the events' identifiers are made with, "used": "advertising" or
 *   "installation", and the "reason".
 * - "ingest": the "address" that is posted to, "builtIn" when the host gave none, "placeholder"
 *   when the library was built without one, too, and the "refusal" that says why there is no
 *   address.
 * - "interception": whether requests are "allowed" to be sent, and the "reason" when not.
 * - "lastRequest": "date" of its end in seconds since 1970, HTTP "status", and the "error" when no
 *   response came.
 * - "mainLoop": the number of its "thread", null while it has none; "secondsSinceProcessed", null
 *   before its first pass; "queued", how many sets and jobs were handed over to it; and
 *   "secondsUntilDue" of its next delayed call or timer, negative when the loop is late.
 * - "pending": "jobs", how many are queued or under way, exchanges among them; "delayedCalls" of
 *   the main run loop; and the "reason" why nothing is sent, before the start and while another
 * process is in charge, too; after that null when no event waits.
 * - "store": "path", "exists", "formatVersion", "trouble" that says what is wrong and what to do,
 *   and "troubleKind": "refused" (until somebody acts), "locked" (another process holds it),
 *   "failed" (full disk, read-only file system, input or output error), "damaged" (it will be set
 *   aside). What this process met when it last used the file goes before what a look at it finds.
 *   "worker" is the process in charge of the file, 0 when it is outside of this container.
 */
VELMORA_API velmora_result velmora_diagnose_json(char **json);

/**
 * Runs the device job, which the SDK never starts by itself. In this version the request is not
 * sent and never completes: when the device is due, every later post waits behind it for the rest
 * of the process's life. Without effect before the start.
 */
VELMORA_API velmora_result velmora_device_update(void);

/**
 * Hands a device response to the SDK, as if the backend had answered with it: a JSON document, for
 * instance {"config": {"DISPLAY_LOGS": 1}}. Without effect before the start. From another thread
 * than the main run loop's it is handed over to that loop.
 */
VELMORA_API velmora_result velmora_device_response(const char *json);

#ifdef __cplusplus
}
#endif

#endif
