/* qxcamerasrc and the device provider in pipelines, on emulated cameras of
 * 64 x 8 pixels whose frame counter starts just below its 32-bit wrap. */
#include <gst/app/gstappsink.h>
#include <gst/check/gstcheck.h>
#include <gst/video/video.h>
#include <stdio.h>
#include <string.h>

#include "gstqxframemeta.h"
#include "quendral_vko_camera_emulator.h"

#define SERIAL "SN-GST"
#define FIRST_COUNT G_GUINT64_CONSTANT (4294967294)
#define WAIT (10 * GST_SECOND)

static void
emulate_camera (gint rows, const gchar * extra_keys)
{
  gchar *config = g_strdup_printf ("{\"cameras\":[{\"serial\":\"" SERIAL "\",\"sensor_width\":64,"
      "\"sensor_height\":%d,\"frame_time_us\":20000,\"frame_count_start\":%" G_GUINT64_FORMAT "%s%s}]}",
      rows, FIRST_COUNT, extra_keys[0] ? "," : "", extra_keys);

  fail_unless (qx_emu_reset (config) == QX_EMU_OK, "%s", qx_emu_get_last_error ());
  g_free (config);
}

typedef struct {
  GstElement *pipeline;
  GstElement *src;
  GstElement *sink;
  GstBus *bus;
  gboolean started;
} stream;

static stream
play (const gchar * src_properties)
{
  gchar *description = g_strdup_printf ("qxcamerasrc name=src %s ! appsink name=sink sync=false",
      src_properties);
  stream s;

  s.pipeline = gst_parse_launch (description, NULL);
  g_free (description);
  fail_unless (s.pipeline != NULL);
  s.src = gst_bin_get_by_name (GST_BIN (s.pipeline), "src");
  s.sink = gst_bin_get_by_name (GST_BIN (s.pipeline), "sink");
  s.bus = gst_element_get_bus (s.pipeline);
  s.started = gst_element_set_state (s.pipeline, GST_STATE_PLAYING) != GST_STATE_CHANGE_FAILURE;
  return s;
}

static void
stop (stream * s)
{
  fail_unless_equals_int (gst_element_set_state (s->pipeline, GST_STATE_NULL), GST_STATE_CHANGE_SUCCESS);
  fail_unless (s->started);
  gst_object_unref (s->bus);
  gst_object_unref (s->src);
  gst_object_unref (s->sink);
  gst_object_unref (s->pipeline);
}

static GstSample *
pull (stream * s)
{
  return gst_app_sink_try_pull_sample (GST_APP_SINK (s->sink), WAIT);
}

/* Waits for the next bus message of @types, taking element messages only
 * when named @name, and checks that it is of type @expected and, given
 * @text, that its error text or its structure holds @text. */
static void
expect_message (stream * s, GstMessageType types, const gchar * name, GstMessageType expected,
    const gchar * text)
{
  GstMessage *message;
  GError *error = NULL;
  gchar *said;

  for (;;) {
    message = gst_bus_timed_pop_filtered (s->bus, WAIT, types);
    fail_unless (message != NULL, "no %s message", name ? name : "bus");
    if (name == NULL || GST_MESSAGE_TYPE (message) != GST_MESSAGE_ELEMENT || gst_message_has_name (message, name))
      break;
    gst_message_unref (message);
  }
  fail_unless_equals_int (GST_MESSAGE_TYPE (message), expected);
  if (text != NULL) {
    if (expected == GST_MESSAGE_ERROR) {
      gst_message_parse_error (message, &error, NULL);
      said = g_strdup (error->message);
      g_error_free (error);
    } else {
      said = gst_structure_to_string (gst_message_get_structure (message));
    }
    fail_unless (strstr (said, text) != NULL, "%s", said);
    g_free (said);
  }
  gst_message_unref (message);
}

static guint64
stat (stream * s, const gchar * field)
{
  GstStructure *stats = NULL;
  guint64 value = 0;

  g_object_get (s->src, "stats", &stats, NULL);
  fail_unless (gst_structure_get_uint64 (stats, field, &value), "%s", field);
  gst_structure_free (stats);
  return value;
}

/* Pixels that differ from the emulator's gradient (x + 3y + 7f) mod 2^bits. */
static gint
gradient_mismatches (GstSample * sample, gint bits)
{
  GstBuffer *buffer = gst_sample_get_buffer (sample);
  GstVideoInfo info;
  GstVideoFrame frame;
  guint32 count = (guint32) GST_BUFFER_OFFSET (buffer);
  gint mismatches = 0, x, y;

  fail_unless (gst_video_info_from_caps (&info, gst_sample_get_caps (sample)));
  fail_unless (gst_video_frame_map (&frame, &info, buffer, GST_MAP_READ));
  for (y = 0; y < GST_VIDEO_INFO_HEIGHT (&info); ++y) {
    const guint8 *row = (const guint8 *) GST_VIDEO_FRAME_PLANE_DATA (&frame, 0) + y *
        GST_VIDEO_FRAME_PLANE_STRIDE (&frame, 0);
    for (x = 0; x < GST_VIDEO_INFO_WIDTH (&info); ++x) {
      guint expected = (guint) ((x + 3 * y + 7 * (guint64) count) & ((1u << bits) - 1));
      guint actual = GST_VIDEO_INFO_FORMAT (&info) == GST_VIDEO_FORMAT_GRAY8 ? row[x] : GST_READ_UINT16_LE (row + 2 * x);
      mismatches += actual != expected;
    }
  }
  gst_video_frame_unmap (&frame);
  return mismatches;
}

/* The time stamp of the record's "TSLO"/"TSHI" pairs. */
static guint64
record_ticks (const GstQxFrameMeta * meta)
{
  gsize size = 0, offset;
  const guint8 *words = g_bytes_get_data (meta->record, &size);
  guint64 low = 0, high = 0;

  for (offset = 0; offset + 8 <= size; offset += 8) {
    if (memcmp (words + offset, "TSLO", 4) == 0)
      low = GST_READ_UINT32_LE (words + offset + 4);
    if (memcmp (words + offset, "TSHI", 4) == 0)
      high = GST_READ_UINT32_LE (words + offset + 4);
  }
  return high << 32 | low;
}

/* Frames arrive whole and in order: offsets run on across the counter's
 * wrap, the metadata record and the device time stamps come along, and the
 * 8-bit camera gets 8-bit caps. */
static const struct {
  const gchar *camera;
  gint bits;
  GstVideoFormat format;
} formats[] = {
  {"", 12, GST_VIDEO_FORMAT_GRAY16_LE},
  {"\"bit_depth\":8,\"flat_value\":100", 8, GST_VIDEO_FORMAT_GRAY8},
};

GST_START_TEST (delivers_counted_frames_with_their_pixels_and_metas)
{
  GstCaps *reference = gst_caps_new_empty_simple ("timestamp/x-qx-camera");
  GstClockTime previous_stamp = GST_CLOCK_TIME_NONE, min_latency = 0, max_latency = 0;
  gboolean live = FALSE;
  GstQuery *latency;
  stream s;
  guint64 i;

  emulate_camera (8, formats[__i__].camera);
  s = play ("camera-buffers=16");
  for (i = 0; i < 5; ++i) {
    GstSample *sample = pull (&s);
    GstBuffer *buffer = gst_sample_get_buffer (sample);
    const GstQxFrameMeta *record = (const GstQxFrameMeta *) gst_buffer_get_meta (buffer,
        g_type_from_name ("GstQxFrameMetaAPI"));
    GstReferenceTimestampMeta *stamp = gst_buffer_get_reference_timestamp_meta (buffer, reference);
    GstVideoInfo info;

    fail_unless (sample != NULL);
    fail_unless (gst_video_info_from_caps (&info, gst_sample_get_caps (sample)));
    fail_unless_equals_int (GST_VIDEO_INFO_FORMAT (&info), formats[__i__].format);
    fail_unless_equals_uint64 (GST_BUFFER_OFFSET (buffer), FIRST_COUNT + i);
    fail_unless_equals_int (GST_BUFFER_FLAG_IS_SET (buffer, GST_BUFFER_FLAG_DISCONT), i == 0);
    fail_unless_equals_int (gradient_mismatches (sample, formats[__i__].bits), 0);
    fail_unless (record != NULL);
    fail_unless_equals_uint64 (record->frame_count, (guint32) GST_BUFFER_OFFSET (buffer));
    fail_unless (g_bytes_get_size (record->record) >= 8 && memcmp (g_bytes_get_data (record->record, NULL),
            "VKO", 4) == 0);
    fail_unless (stamp != NULL);
    /* The record's 100 MHz ticks, in nanoseconds; frames are stamped a whole
     * number of 20 ms frame times apart (a slow reader makes the camera
     * skip frames, which take no count). */
    fail_unless_equals_uint64 (stamp->timestamp, record_ticks (record) * 10);
    if (GST_CLOCK_TIME_IS_VALID (previous_stamp))
      fail_unless (stamp->timestamp > previous_stamp
          && (stamp->timestamp - previous_stamp) % (20 * GST_MSECOND) == 0);
    previous_stamp = stamp->timestamp;
    gst_sample_unref (sample);
  }
  latency = gst_query_new_latency ();
  fail_unless (gst_element_query (s.src, latency));
  gst_query_parse_latency (latency, &live, &min_latency, &max_latency);
  fail_unless (live);
  fail_unless_equals_uint64 (min_latency, 20 * GST_MSECOND);
  fail_unless (max_latency >= min_latency);
  gst_query_unref (latency);
  stop (&s);
  gst_caps_unref (reference);
}

GST_END_TEST;

/* A triggered camera left waiting many time-outs long: each policy does
 * what it says, and "wait" still takes the frame of a late trigger. */
static const struct {
  const gchar *mode;
  const gchar *policy;
  GstMessageType outcome;
} policies[] = {
  {"software", "error", GST_MESSAGE_ERROR},
  {"hardware", "eos", GST_MESSAGE_EOS},
  {"software", "wait", GST_MESSAGE_ELEMENT},
  {"hardware", "wait", GST_MESSAGE_ELEMENT},
};

GST_START_TEST (a_triggered_stream_times_out_by_its_policy)
{
  gchar *properties = g_strdup_printf ("trigger-mode=%s timeout-ms=40 timeout-policy=%s",
      policies[__i__].mode, policies[__i__].policy);
  gboolean waits = policies[__i__].outcome == GST_MESSAGE_ELEMENT, triggered = FALSE;
  GstSample *sample;
  gchar path[256];
  gint timeouts;
  stream s;

  emulate_camera (8, "");
  s = play (properties);
  for (timeouts = 0; timeouts < (waits ? 3 : 1); ++timeouts)
    expect_message (&s, GST_MESSAGE_ERROR | GST_MESSAGE_EOS | GST_MESSAGE_ELEMENT, "qxcamerasrc-timeout",
        policies[__i__].outcome, NULL);
  if (!waits) {
    fail_unless (gst_app_sink_try_pull_sample (GST_APP_SINK (s.sink), 0) == NULL);
  } else if (g_str_equal (policies[__i__].mode, "software")) {
    g_signal_emit_by_name (s.src, "software-trigger", &triggered);
    fail_unless (triggered);
  } else {
    fail_unless_equals_int (qx_emu_get_camera_path ("qv", 0, path, sizeof path), QX_EMU_OK);
    fail_unless_equals_int (qx_emu_pulse_hardware_trigger (path), QX_EMU_OK);
  }
  if (waits) {
    fail_unless ((sample = pull (&s)) != NULL);
    fail_unless_equals_uint64 (GST_BUFFER_OFFSET (gst_sample_get_buffer (sample)), FIRST_COUNT);
    gst_sample_unref (sample);
  }
  stop (&s);
  g_free (properties);
}

GST_END_TEST;

/* Teardown never deadlocks, and a frame kept past teardown stays intact.
 * The camera streams as fast as it is read, so every stop meets the
 * streaming thread mid-frame; a few cycles vary where. */
GST_START_TEST (playing_to_null_and_back_repeatedly)
{
  gint cycle;

  emulate_camera (8, "\"pacing\":\"fast\"");
  for (cycle = 0; cycle < 10; ++cycle) {
    stream s = play ("");
    GstSample *kept = pull (&s);

    fail_unless (kept != NULL, "cycle %d", cycle);
    stop (&s);
    fail_unless_equals_int (gradient_mismatches (kept, 12), 0);
    gst_sample_unref (kept);
  }
}

GST_END_TEST;

/* Downstream holding every buffer: later frames are dropped whole and
 * counted, the held ones are never overwritten, and the stream resumes
 * with a discontinuity. Then the camera is unplugged mid-stream: an error
 * naming it, then EOS. */
GST_START_TEST (frames_beyond_what_downstream_holds_are_lost_then_an_unplug_ends_the_stream)
{
  GstSample *held[3], *next;
  guint64 last_held;
  gchar path[256];
  stream s;
  gint i;

  emulate_camera (8, "\"pacing\":\"fast\"");
  fail_unless_equals_int (qx_emu_get_camera_path ("qv", 0, path, sizeof path), QX_EMU_OK);
  s = play ("camera-buffers=3");
  for (i = 0; i < 3; ++i)
    fail_unless ((held[i] = pull (&s)) != NULL);
  for (i = 0; i < 2; ++i)
    expect_message (&s, GST_MESSAGE_ELEMENT, "qxcamerasrc-frames-lost", GST_MESSAGE_ELEMENT, NULL);
  fail_unless (stat (&s, "frames-lost-no-free-slot") + stat (&s, "frames-dropped-downstream-busy") >= 2);
  last_held = GST_BUFFER_OFFSET (gst_sample_get_buffer (held[2]));
  for (i = 0; i < 3; ++i) {
    fail_unless_equals_int (gradient_mismatches (held[i], 12), 0);
    gst_sample_unref (held[i]);
  }
  fail_unless ((next = pull (&s)) != NULL);
  fail_unless (GST_BUFFER_OFFSET (gst_sample_get_buffer (next)) > last_held + 1);
  fail_unless (GST_BUFFER_FLAG_IS_SET (gst_sample_get_buffer (next), GST_BUFFER_FLAG_DISCONT));
  gst_sample_unref (next);

  fail_unless_equals_int (qx_emu_unplug_camera (path), QX_EMU_OK);
  while ((next = pull (&s)) != NULL)
    gst_sample_unref (next);
  expect_message (&s, GST_MESSAGE_ERROR | GST_MESSAGE_EOS, NULL, GST_MESSAGE_ERROR, SERIAL);
  expect_message (&s, GST_MESSAGE_ERROR | GST_MESSAGE_EOS, NULL, GST_MESSAGE_EOS, NULL);
  stop (&s);
}

GST_END_TEST;

/* A frame damaged on the wire (one of its five packets lost) never reaches
 * downstream: it is dropped and reported, or ends the stream when
 * drop-incomplete is off. */
GST_START_TEST (a_damaged_frame_is_dropped_or_ends_the_stream)
{
  gboolean drop = __i__ == 0;
  GstSample *sample;
  GstBuffer *buffer;
  stream s;
  gint i;

  emulate_camera (512, "\"faults\":{\"drop_packet\":{\"frames\":[2],\"packet\":2}}");
  s = play (drop ? "drop-incomplete=true camera-buffers=16" : "drop-incomplete=false camera-buffers=16");
  for (i = 0; i < 2; ++i) {
    fail_unless ((sample = pull (&s)) != NULL);
    fail_unless_equals_uint64 (GST_BUFFER_OFFSET (gst_sample_get_buffer (sample)), FIRST_COUNT + i);
    gst_sample_unref (sample);
  }
  if (drop) {
    expect_message (&s, GST_MESSAGE_ELEMENT, "qxcamerasrc-frames-lost", GST_MESSAGE_ELEMENT,
        "reason=(string)incomplete");
    fail_unless ((sample = pull (&s)) != NULL);
    buffer = gst_sample_get_buffer (sample);
    fail_unless_equals_uint64 (GST_BUFFER_OFFSET (buffer), FIRST_COUNT + 3);
    fail_unless (GST_BUFFER_FLAG_IS_SET (buffer, GST_BUFFER_FLAG_DISCONT));
    fail_unless_equals_int (gradient_mismatches (sample, 12), 0);
    gst_sample_unref (sample);
    fail_unless_equals_uint64 (stat (&s, "frames-lost-incomplete"), 1);
  } else {
    expect_message (&s, GST_MESSAGE_ERROR, NULL, GST_MESSAGE_ERROR, NULL);
  }
  stop (&s);
}

GST_END_TEST;

/* The settings structure reaches the catalogue; a name it lacks is an
 * error naming it, and leaves the camera free for the next start; a change
 * the running camera refuses is only a warning. */
GST_START_TEST (settings_go_to_the_camera_by_name)
{
  GstStructure *live = gst_structure_from_string ("settings,exposure_us=3000,roi=\"0,0,32,4\"", NULL);
  GstSample *sample;
  stream s;

  emulate_camera (8, "");
  s = play ("settings=\"settings,no_such_parameter=1\"");
  fail_if (s.started);
  expect_message (&s, GST_MESSAGE_ERROR, NULL, GST_MESSAGE_ERROR, "no_such_parameter");
  s.started = TRUE;
  stop (&s);

  s = play ("settings=\"settings,black_level=12,exposure_us=2000\"");
  fail_unless ((sample = pull (&s)) != NULL);
  gst_sample_unref (sample);
  /* A running camera refuses a new region: a warning, and frames go on. */
  g_object_set (s.src, "settings", live, NULL);
  gst_structure_free (live);
  expect_message (&s, GST_MESSAGE_WARNING | GST_MESSAGE_ERROR, NULL, GST_MESSAGE_WARNING, NULL);
  fail_unless ((sample = pull (&s)) != NULL);
  gst_sample_unref (sample);
  stop (&s);
}

GST_END_TEST;

static gboolean
lists_serial (GstDevice * device, const gchar * serial)
{
  GstStructure *properties = gst_device_get_properties (device);
  gboolean listed = properties && g_strcmp0 (gst_structure_get_string (properties, "serial"), serial) == 0;

  if (properties)
    gst_structure_free (properties);
  return listed;
}

static void
wait_for_device_message (GstBus * bus, GstMessageType wanted, const gchar * serial)
{
  gboolean seen = FALSE;

  while (!seen) {
    GstMessage *message = gst_bus_timed_pop_filtered (bus, WAIT, GST_MESSAGE_DEVICE_ADDED |
        GST_MESSAGE_DEVICE_REMOVED);
    GstDevice *device = NULL;

    fail_unless (message != NULL, "no hot-plug message for %s", serial);
    if (GST_MESSAGE_TYPE (message) == GST_MESSAGE_DEVICE_ADDED)
      gst_message_parse_device_added (message, &device);
    else
      gst_message_parse_device_removed (message, &device);
    if (lists_serial (device, serial)) {
      fail_unless_equals_int (GST_MESSAGE_TYPE (message), wanted);
      seen = TRUE;
    }
    gst_object_unref (device);
    gst_message_unref (message);
  }
}

/* The provider lists cameras and follows a plug and an unplug. */
GST_START_TEST (the_device_provider_follows_hot_plug)
{
  GstDeviceProvider *provider = gst_device_provider_factory_get_by_name ("qxdeviceprovider");
  GstBus *bus = gst_device_provider_get_bus (provider);
  gchar path[256];
  GList *devices;

  emulate_camera (8, "");
  devices = gst_device_provider_get_devices (provider);
  fail_unless (devices != NULL && lists_serial (devices->data, SERIAL));
  g_list_free_full (devices, gst_object_unref);

  fail_unless (gst_device_provider_start (provider));
  fail_unless_equals_int (qx_emu_plug_camera ("{\"serial\":\"SN-PLUG\"}", path, sizeof path), QX_EMU_OK);
  wait_for_device_message (bus, GST_MESSAGE_DEVICE_ADDED, "SN-PLUG");
  fail_unless_equals_int (qx_emu_unplug_camera (path), QX_EMU_OK);
  wait_for_device_message (bus, GST_MESSAGE_DEVICE_REMOVED, "SN-PLUG");
  gst_device_provider_stop (provider);
  gst_object_unref (bus);
  gst_object_unref (provider);
}

GST_END_TEST;

static Suite *
qxcamerasrc_suite (void)
{
  Suite *suite = suite_create ("qxcamerasrc");
  TCase *tc = tcase_create ("pipelines");

  tcase_set_timeout (tc, 120);
  suite_add_tcase (suite, tc);
  tcase_add_loop_test (tc, delivers_counted_frames_with_their_pixels_and_metas, 0, G_N_ELEMENTS (formats));
  tcase_add_loop_test (tc, a_triggered_stream_times_out_by_its_policy, 0, G_N_ELEMENTS (policies));
  tcase_add_test (tc, playing_to_null_and_back_repeatedly);
  tcase_add_test (tc, frames_beyond_what_downstream_holds_are_lost_then_an_unplug_ends_the_stream);
  tcase_add_loop_test (tc, a_damaged_frame_is_dropped_or_ends_the_stream, 0, 2);
  tcase_add_test (tc, settings_go_to_the_camera_by_name);
  tcase_add_test (tc, the_device_provider_follows_hot_plug);
  return suite;
}

GST_CHECK_MAIN (qxcamerasrc);
