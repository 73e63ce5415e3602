#include "gstqxcamerasrc.h"

#include <string.h>

#include "gstqxframemeta.h"
#include "gstqxframepool.h"
#include "gstqxkitsession.h"

GST_DEBUG_CATEGORY_STATIC (gst_qx_camera_src_debug);
#define GST_CAT_DEFAULT gst_qx_camera_src_debug

/* The longest single wait for a frame: unlock and the time-out are checked
 * between waits, so this bounds how long a flush or teardown may take. */
#define WAIT_SLICE_MS 50

enum {
  PROP_0,
  PROP_SERIAL,
  PROP_EXPOSURE_US,
  PROP_GAIN,
  PROP_BINNING,
  PROP_OFFSET_X,
  PROP_OFFSET_Y,
  PROP_TRIGGER_MODE,
  PROP_CAMERA_BUFFERS,
  PROP_TIMEOUT_MS,
  PROP_TIMEOUT_POLICY,
  PROP_DROP_INCOMPLETE,
  PROP_SETTINGS,
  PROP_STATS,
};

enum {
  SIGNAL_SOFTWARE_TRIGGER,
  SIGNAL_LAST,
};

static guint signals[SIGNAL_LAST];

#define DEFAULT_CAMERA_BUFFERS 4

static GstStaticPadTemplate src_template = GST_STATIC_PAD_TEMPLATE ("src", GST_PAD_SRC, GST_PAD_ALWAYS,
    GST_STATIC_CAPS (GST_VIDEO_CAPS_MAKE ("{ GRAY16_LE, GRAY8 }")));

G_DEFINE_TYPE_WITH_CODE (GstQxCameraSrc, gst_qx_camera_src, GST_TYPE_PUSH_SRC,
    GST_DEBUG_CATEGORY_INIT (gst_qx_camera_src_debug, "qxcamerasrc", 0, "Quendral VKO camera source"));

static GType
enum_type (GType * type, const gchar * name, const GEnumValue * values)
{
  if (g_once_init_enter (type))
    g_once_init_leave (type, g_enum_register_static (name, values));
  return *type;
}

static GType
gst_qx_trigger_mode_get_type (void)
{
  static GType type = 0;
  static const GEnumValue values[] = {
    {GST_QX_TRIGGER_FREE_RUN, "Frames stream continuously", "free-run"},
    {GST_QX_TRIGGER_SOFTWARE, "Frames follow the software-trigger signal", "software"},
    {GST_QX_TRIGGER_HARDWARE, "Frames follow the camera's trigger input", "hardware"},
    {0, NULL, NULL},
  };

  return enum_type (&type, "GstQxTriggerMode", values);
}

static GType
gst_qx_timeout_policy_get_type (void)
{
  static GType type = 0;
  static const GEnumValue values[] = {
    {GST_QX_TIMEOUT_ERROR, "Post an error and stop", "error"},
    {GST_QX_TIMEOUT_WAIT, "Post an element message and keep waiting", "wait"},
    {GST_QX_TIMEOUT_EOS, "End the stream", "eos"},
    {0, NULL, NULL},
  };

  return enum_type (&type, "GstQxTimeoutPolicy", values);
}

/* ---- talking to the camera ---- */

/* Runs a kit call and turns its failure into an element error. */
#define CAMERA_CALL(self, call, what) \
  camera_call_succeeded ((self), (call) == 0, (what))

static gboolean
camera_call_succeeded (GstQxCameraSrc * self, gboolean succeeded, const gchar * what)
{
  if (!succeeded)
    GST_ELEMENT_ERROR (self, RESOURCE, SETTINGS, ("Camera %s: %s failed.", self->open_serial, what),
        ("%s", qx_camera_get_last_error ()));
  return succeeded;
}

/* Field values of the settings structure travel to the catalogue as text. */
static gchar *
setting_as_text (const GValue * value)
{
  if (G_VALUE_HOLDS_STRING (value))
    return g_value_dup_string (value);
  if (G_VALUE_HOLDS_BOOLEAN (value))
    return g_strdup (g_value_get_boolean (value) ? "1" : "0");
  if (G_VALUE_HOLDS_DOUBLE (value)) {
    gchar text[G_ASCII_DTOSTR_BUF_SIZE];
    return g_strdup (g_ascii_dtostr (text, sizeof text, g_value_get_double (value)));
  }
  return gst_value_serialize (value);
}

/* Every camera setting goes through the parameter catalogue by name. A
 * refusal at start is an error; one while streaming (a region change, say,
 * which a running camera refuses) is a warning and the stream goes on. */
static gboolean
set_camera_parameter (GstQxCameraSrc * self, const gchar * name, const gchar * text)
{
  gchar *refusal;

  if (qx_camera_set_parameter (self->camera, name, text) == 0)
    return TRUE;
  refusal = g_strdup_printf ("Camera %s: setting %s to \"%s\" failed.", self->open_serial, name, text);
  if (self->changing_live)
    GST_ELEMENT_WARNING (self, RESOURCE, SETTINGS, ("%s", refusal), ("%s", qx_camera_get_last_error ()));
  else
    GST_ELEMENT_ERROR (self, RESOURCE, SETTINGS, ("%s", refusal), ("%s", qx_camera_get_last_error ()));
  g_free (refusal);
  return FALSE;
}

static gboolean
apply_one_setting (GQuark field, const GValue * value, gpointer data)
{
  gchar *text = setting_as_text (value);
  gboolean applied = set_camera_parameter (data, g_quark_to_string (field), text ? text : "");

  g_free (text);
  return applied;
}

/* With camera_lock held. */
static gboolean
apply_settings (GstQxCameraSrc * self, const GstStructure * settings)
{
  return settings == NULL || gst_structure_foreach (settings, apply_one_setting, self);
}

/* Properties that a camera takes at any time; with camera_lock held. */
static gboolean
apply_live_properties (GstQxCameraSrc * self, gint64 exposure_us, gint gain)
{
  gchar text[32];

  if (exposure_us >= 0) {
    g_snprintf (text, sizeof text, "%" G_GINT64_FORMAT, exposure_us);
    if (!set_camera_parameter (self, "exposure_us", text))
      return FALSE;
  }
  if (gain >= 0) {
    g_snprintf (text, sizeof text, "%d", gain);
    if (!set_camera_parameter (self, "gain", text))
      return FALSE;
  }
  return TRUE;
}

static gboolean
apply_start_properties (GstQxCameraSrc * self)
{
  gint binning;
  GstQxTriggerMode mode;
  gint64 exposure_us;
  gint gain;
  GstStructure *settings;
  gboolean applied = TRUE;
  gchar text[32];

  GST_OBJECT_LOCK (self);
  binning = self->binning;
  mode = self->trigger_mode;
  exposure_us = self->exposure_us;
  gain = self->gain;
  settings = self->settings ? gst_structure_copy (self->settings) : NULL;
  GST_OBJECT_UNLOCK (self);

  if (binning > 0) {
    g_snprintf (text, sizeof text, "%d,%d", binning, binning);
    applied = set_camera_parameter (self, "binning", text);
  }
  /* Free run streams until stopped; a trigger owes one frame unless the
   * settings ask for more. */
  applied = applied
      && set_camera_parameter (self, "trigger_mode", mode == GST_QX_TRIGGER_HARDWARE ? "hardware" : "software")
      && set_camera_parameter (self, "frames_per_trigger", mode == GST_QX_TRIGGER_FREE_RUN ? "0" : "1")
      && apply_live_properties (self, exposure_us, gain) && apply_settings (self, settings);
  if (settings)
    gst_structure_free (settings);
  return applied;
}

static void
disarm_camera (GstQxCameraSrc * self)
{
  if (self->armed && qx_camera_disarm (self->camera) != 0)
    GST_WARNING_OBJECT (self, "disarming: %s", qx_camera_get_last_error ());
  self->armed = FALSE;
}

/* ---- GstBaseSrc ---- */

static gboolean gst_qx_camera_src_stop (GstBaseSrc * base);

/* On the kit's hot-plug thread. */
static void
camera_changed (const gchar * serial, gboolean connected, gpointer data)
{
  GstQxCameraSrc *self = data;

  if (!connected && g_strcmp0 (serial, self->open_serial) == 0)
    g_atomic_int_set (&self->unplugged, 1);
}

static gboolean
gst_qx_camera_src_start (GstBaseSrc * base)
{
  GstQxCameraSrc *self = GST_QX_CAMERA_SRC (base);
  GError *error = NULL;
  gchar *serial;
  void *camera;
  gint frequency = 0;

  if (!gst_qx_kit_session_acquire (&error)) {
    GST_ELEMENT_ERROR (self, RESOURCE, OPEN_READ, ("%s", error->message), (NULL));
    g_error_free (error);
    return FALSE;
  }
  GST_OBJECT_LOCK (self);
  serial = g_strdup (self->serial);
  GST_OBJECT_UNLOCK (self);

  g_mutex_lock (&self->camera_lock);
  camera = gst_qx_kit_session_open_camera (serial, &self->open_serial, &error);
  self->camera = camera;
  g_mutex_unlock (&self->camera_lock);
  g_free (serial);
  if (camera == NULL) {
    GST_ELEMENT_ERROR (self, RESOURCE, NOT_FOUND, ("%s", error->message), (NULL));
    g_error_free (error);
    gst_qx_kit_session_release ();
    return FALSE;
  }

  g_atomic_int_set (&self->unplugged, 0);
  self->watch_id = gst_qx_kit_session_watch_cameras (camera_changed, self, &error);
  if (self->watch_id == 0) {
    GST_ELEMENT_ERROR (self, RESOURCE, OPEN_READ, ("%s", error->message), (NULL));
    g_error_free (error);
    gst_qx_camera_src_stop (base);
    return FALSE;
  }
  self->have_count = FALSE;
  self->discont_pending = FALSE;
  self->extended_count = 0;
  self->frames_pushed = 0;
  self->frames_dropped_downstream_busy = 0;
  memset (&self->last_statistics, 0, sizeof self->last_statistics);
  self->last_statistics.size = sizeof self->last_statistics;

  g_mutex_lock (&self->camera_lock);
  if (!apply_start_properties (self)
      || !CAMERA_CALL (self, qx_camera_get_stream_statistics (camera, &self->last_statistics),
          "reading the stream statistics")
      || !CAMERA_CALL (self, qx_camera_get_timestamp_clock_frequency (camera, &frequency),
          "reading the time-stamp clock")) {
    g_mutex_unlock (&self->camera_lock);
    /* A start that fails is not followed by stop. */
    gst_qx_camera_src_stop (base);
    return FALSE;
  }
  self->clock_frequency = frequency > 0 ? (guint64) frequency : 0;
  g_mutex_unlock (&self->camera_lock);
  return TRUE;
}

static gboolean
gst_qx_camera_src_stop (GstBaseSrc * base)
{
  GstQxCameraSrc *self = GST_QX_CAMERA_SRC (base);
  void *camera;

  if (self->watch_id != 0) {
    gst_qx_kit_session_unwatch_cameras (self->watch_id);
    self->watch_id = 0;
  }
  g_mutex_lock (&self->camera_lock);
  camera = self->camera;
  if (camera != NULL)
    disarm_camera (self);
  self->camera = NULL;
  g_mutex_unlock (&self->camera_lock);

  /* Buffers still downstream keep their frames; the kit keeps a held
   * frame's memory alive past the camera's close until its release. */
  if (self->pool) {
    gst_buffer_pool_set_active (self->pool, FALSE);
    gst_clear_object (&self->pool);
  }
  if (camera != NULL) {
    gst_qx_kit_session_close_camera (camera);
    gst_qx_kit_session_release ();
  }
  g_clear_pointer (&self->open_serial, g_free);
  gst_clear_caps (&self->timestamp_reference);
  return TRUE;
}

static GstCaps *
gst_qx_camera_src_get_caps (GstBaseSrc * base, GstCaps * filter)
{
  GstQxCameraSrc *self = GST_QX_CAMERA_SRC (base);
  gint width_min = 0, width_max = 0, height_min = 0, height_max = 0, bit_depth = 0, frame_time_us = 0;
  gboolean known;
  GstQxTriggerMode mode;
  GstCaps *caps;
  GValue formats = G_VALUE_INIT, format = G_VALUE_INIT, range = G_VALUE_INIT;

  g_mutex_lock (&self->camera_lock);
  known = self->camera != NULL
      && qx_camera_get_image_width_range (self->camera, &width_min, &width_max) == 0
      && qx_camera_get_image_height_range (self->camera, &height_min, &height_max) == 0
      && qx_camera_get_bit_depth (self->camera, &bit_depth) == 0
      && qx_camera_get_frame_time (self->camera, &frame_time_us) == 0;
  g_mutex_unlock (&self->camera_lock);
  if (!known) {
    caps = gst_pad_get_pad_template_caps (GST_BASE_SRC_PAD (base));
    goto filtered;
  }

  GST_OBJECT_LOCK (self);
  mode = self->trigger_mode;
  GST_OBJECT_UNLOCK (self);

  /* Rows are a whole number of 4-pixel groups. */
  width_min = GST_ROUND_UP_4 (width_min);
  width_max = GST_ROUND_DOWN_4 (width_max);
  caps = gst_caps_new_empty_simple ("video/x-raw");
  g_value_init (&formats, GST_TYPE_LIST);
  g_value_init (&format, G_TYPE_STRING);
  if (bit_depth <= 8) {
    g_value_set_static_string (&format, "GRAY8");
    gst_value_list_append_value (&formats, &format);
  }
  g_value_set_static_string (&format, "GRAY16_LE");
  gst_value_list_append_value (&formats, &format);
  gst_caps_set_value (caps, "format", &formats);
  g_value_init (&range, GST_TYPE_INT_RANGE);
  gst_value_set_int_range_step (&range, width_min, MAX (width_min, width_max), 4);
  gst_caps_set_value (caps, "width", &range);
  gst_caps_set_simple (caps, "height", GST_TYPE_INT_RANGE, height_min, MAX (height_min, height_max), NULL);
  if (mode == GST_QX_TRIGGER_FREE_RUN && frame_time_us > 0)
    gst_caps_set_simple (caps, "framerate", GST_TYPE_FRACTION, 1000000, frame_time_us, NULL);
  else
    gst_caps_set_simple (caps, "framerate", GST_TYPE_FRACTION, 0, 1, NULL);
  g_value_unset (&formats);
  g_value_unset (&format);
  g_value_unset (&range);

filtered:
  if (filter) {
    GstCaps *intersection = gst_caps_intersect_full (filter, caps, GST_CAPS_INTERSECT_FIRST);
    gst_caps_unref (caps);
    caps = intersection;
  }
  return caps;
}

/* Without a preference downstream, the camera's present image size. */
static GstCaps *
gst_qx_camera_src_fixate (GstBaseSrc * base, GstCaps * caps)
{
  GstQxCameraSrc *self = GST_QX_CAMERA_SRC (base);
  gint width = 0, height = 0;
  GstStructure *structure;

  caps = gst_caps_make_writable (caps);
  caps = gst_caps_truncate (caps);
  structure = gst_caps_get_structure (caps, 0);
  g_mutex_lock (&self->camera_lock);
  if (self->camera != NULL) {
    qx_camera_get_image_width (self->camera, &width);
    qx_camera_get_image_height (self->camera, &height);
  }
  g_mutex_unlock (&self->camera_lock);
  if (width > 0)
    gst_structure_fixate_field_nearest_int (structure, "width", width);
  if (height > 0)
    gst_structure_fixate_field_nearest_int (structure, "height", height);
  return GST_BASE_SRC_CLASS (gst_qx_camera_src_parent_class)->fixate (base, caps);
}

/* The region of interest that gives @width x @height pixels: at the offsets
 * when they are set, else centred; left on an even column as the sensor
 * requires. */
static gboolean
set_region (GstQxCameraSrc * self, gint width, gint height)
{
  gint sensor_width = 0, sensor_height = 0, binx = 1, biny = 1, left, top, offset_x, offset_y;
  gint image_width = 0, image_height = 0;

  GST_OBJECT_LOCK (self);
  offset_x = self->offset_x;
  offset_y = self->offset_y;
  GST_OBJECT_UNLOCK (self);
  if (!CAMERA_CALL (self, qx_camera_get_sensor_width (self->camera, &sensor_width), "reading the sensor width")
      || !CAMERA_CALL (self, qx_camera_get_sensor_height (self->camera, &sensor_height),
          "reading the sensor height")
      || !CAMERA_CALL (self, qx_camera_get_binx (self->camera, &binx), "reading the binning")
      || !CAMERA_CALL (self, qx_camera_get_biny (self->camera, &biny), "reading the binning"))
    return FALSE;
  left = offset_x >= 0 ? offset_x : ((sensor_width - width * binx) / 2) & ~1;
  top = offset_y >= 0 ? offset_y : (sensor_height - height * biny) / 2;
  if (!CAMERA_CALL (self, qx_camera_set_roi (self->camera, left, top, left + width * binx - 1,
              top + height * biny - 1), "setting the region of interest")
      || !CAMERA_CALL (self, qx_camera_get_image_width (self->camera, &image_width), "reading the image width")
      || !CAMERA_CALL (self, qx_camera_get_image_height (self->camera, &image_height),
          "reading the image height"))
    return FALSE;
  if (image_width != width || image_height != height) {
    GST_ELEMENT_ERROR (self, CORE, NEGOTIATION,
        ("Camera %s gives %dx%d images, not the negotiated %dx%d.", self->open_serial, image_width,
            image_height, width, height), (NULL));
    return FALSE;
  }
  return TRUE;
}

static gboolean
gst_qx_camera_src_set_caps (GstBaseSrc * base, GstCaps * caps)
{
  GstQxCameraSrc *self = GST_QX_CAMERA_SRC (base);
  GstVideoInfo info;
  gint camera_buffers, frame_time_us = 0;
  GstQxTriggerMode mode;
  gboolean armed;

  if (!gst_video_info_from_caps (&info, caps))
    return FALSE;
  GST_OBJECT_LOCK (self);
  camera_buffers = self->camera_buffers;
  mode = self->trigger_mode;
  GST_OBJECT_UNLOCK (self);

  g_mutex_lock (&self->camera_lock);
  disarm_camera (self);
  armed = set_region (self, GST_VIDEO_INFO_WIDTH (&info), GST_VIDEO_INFO_HEIGHT (&info))
      && CAMERA_CALL (self, qx_camera_get_frame_time (self->camera, &frame_time_us), "reading the frame time")
      && CAMERA_CALL (self, qx_camera_arm (self->camera, camera_buffers), "arming");
  self->armed = armed;
  self->frame_duration = mode == GST_QX_TRIGGER_FREE_RUN && frame_time_us > 0
      ? (GstClockTime) frame_time_us * GST_USECOND : GST_CLOCK_TIME_NONE;
  if (armed && mode == GST_QX_TRIGGER_FREE_RUN)
    armed = CAMERA_CALL (self, qx_camera_issue_software_trigger (self->camera), "starting the stream");
  g_mutex_unlock (&self->camera_lock);
  if (!armed)
    return FALSE;

  self->info = info;
  /* The camera's rows are packed 16-bit words: they pass on untouched only
   * when they are what the caps describe, row stride included. */
  self->zero_copy = GST_VIDEO_INFO_FORMAT (&info) == GST_VIDEO_FORMAT_GRAY16_LE
      && G_BYTE_ORDER == G_LITTLE_ENDIAN
      && GST_VIDEO_INFO_PLANE_STRIDE (&info, 0) == GST_VIDEO_INFO_WIDTH (&info) * 2;

  if (self->pool) {
    gst_buffer_pool_set_active (self->pool, FALSE);
    gst_clear_object (&self->pool);
  }
  self->pool = gst_qx_frame_pool_new ((guint) camera_buffers);
  if (self->timestamp_reference == NULL)
    self->timestamp_reference = gst_caps_new_simple ("timestamp/x-qx-camera", "serial", G_TYPE_STRING,
        self->open_serial, NULL);
  gst_element_post_message (GST_ELEMENT (self), gst_message_new_latency (GST_OBJECT (self)));
  return self->pool != NULL;
}

static gboolean
gst_qx_camera_src_query (GstBaseSrc * base, GstQuery * query)
{
  GstQxCameraSrc *self = GST_QX_CAMERA_SRC (base);

  if (GST_QUERY_TYPE (query) == GST_QUERY_LATENCY) {
    GstClockTime frame;
    gboolean armed;
    gint camera_buffers;

    g_mutex_lock (&self->camera_lock);
    frame = self->frame_duration;
    armed = self->armed;
    g_mutex_unlock (&self->camera_lock);
    if (!armed)
      return FALSE;
    GST_OBJECT_LOCK (self);
    camera_buffers = self->camera_buffers;
    GST_OBJECT_UNLOCK (self);
    /* A frame is complete one frame time after its exposure began; the
     * camera's slots can hold it back by as many frame times again. A
     * triggered camera has no period to promise. */
    if (GST_CLOCK_TIME_IS_VALID (frame))
      gst_query_set_latency (query, TRUE, frame, frame * (GstClockTime) camera_buffers);
    else
      gst_query_set_latency (query, TRUE, 0, GST_CLOCK_TIME_NONE);
    return TRUE;
  }
  return GST_BASE_SRC_CLASS (gst_qx_camera_src_parent_class)->query (base, query);
}

static gboolean
gst_qx_camera_src_unlock (GstBaseSrc * base)
{
  g_atomic_int_set (&GST_QX_CAMERA_SRC (base)->flushing, 1);
  return TRUE;
}

static gboolean
gst_qx_camera_src_unlock_stop (GstBaseSrc * base)
{
  g_atomic_int_set (&GST_QX_CAMERA_SRC (base)->flushing, 0);
  return TRUE;
}

/* ---- frames ---- */

static void
post_frames_lost (GstQxCameraSrc * self, const gchar * reason, guint64 count)
{
  GstStructure *details = gst_structure_new ("qxcamerasrc-frames-lost", "reason", G_TYPE_STRING, reason,
      "count", G_TYPE_UINT64, count, "offset", G_TYPE_UINT64, self->extended_count, NULL);

  GST_DEBUG_OBJECT (self, "%" G_GUINT64_FORMAT " frames lost: %s", count, reason);
  gst_element_post_message (GST_ELEMENT (self), gst_message_new_element (GST_OBJECT (self), details));
}

/* Reports frames the kit dropped since the last look; FALSE when a damaged
 * frame must end the stream. */
static gboolean
check_statistics (GstQxCameraSrc * self)
{
  qx_stream_statistics now = { 0 };
  guint64 incomplete, no_free_slot;
  gboolean drop_incomplete;

  now.size = sizeof now;
  if (qx_camera_get_stream_statistics (self->camera, &now) != 0)
    return TRUE;
  incomplete = now.frames_lost_incomplete - self->last_statistics.frames_lost_incomplete;
  no_free_slot = now.frames_lost_no_free_slot - self->last_statistics.frames_lost_no_free_slot;
  self->last_statistics = now;
  if (no_free_slot > 0)
    post_frames_lost (self, "no-free-slot", no_free_slot);
  if (incomplete > 0) {
    post_frames_lost (self, "incomplete", incomplete);
    GST_OBJECT_LOCK (self);
    drop_incomplete = self->drop_incomplete;
    GST_OBJECT_UNLOCK (self);
    if (!drop_incomplete) {
      GST_ELEMENT_ERROR (self, STREAM, FAILED,
          ("Camera %s delivered an incomplete frame.", self->open_serial), (NULL));
      return FALSE;
    }
  }
  return TRUE;
}

static gboolean
follows_gap (GstQxCameraSrc * self, const qx_frame * frame)
{
  return self->have_count && (guint32) frame->frame_count - self->last_count != 1;
}

/* Pixels that cannot pass on in place: 8-bit samples, or rows padded to
 * the stride the caps describe. */
static GstMemory *
copy_frame (GstQxCameraSrc * self, const qx_frame * frame)
{
  const GstVideoInfo *info = &self->info;
  gint width = GST_VIDEO_INFO_WIDTH (info), height = GST_VIDEO_INFO_HEIGHT (info);
  gint stride = GST_VIDEO_INFO_PLANE_STRIDE (info, 0);
  gboolean gray8 = GST_VIDEO_INFO_FORMAT (info) == GST_VIDEO_FORMAT_GRAY8;
  GstMemory *memory = gst_allocator_alloc (NULL, GST_VIDEO_INFO_SIZE (info), NULL);
  GstMapInfo map;
  gint row, column;

  gst_memory_map (memory, &map, GST_MAP_WRITE);
  for (row = 0; row < height; ++row) {
    const unsigned short *source = frame->image_data + (gsize) row * width;
    guint8 *destination = map.data + (gsize) row * stride;

    if (gray8) {
      for (column = 0; column < width; ++column)
        destination[column] = (guint8) source[column];
    } else if (G_BYTE_ORDER == G_LITTLE_ENDIAN) {
      memcpy (destination, source, (gsize) width * 2);
    } else {
      for (column = 0; column < width; ++column)
        GST_WRITE_UINT16_LE (destination + 2 * column, source[column]);
    }
    /* Padding at the end of the row stays defined. */
    memset (destination + (gray8 ? width : width * 2), 0, stride - (gray8 ? width : width * 2));
  }
  gst_memory_unmap (memory, &map);
  return memory;
}

static void
add_frame_metas (GstQxCameraSrc * self, GstBuffer * buffer, const qx_frame * frame)
{
  GstQxFrameMeta *meta = gst_buffer_add_qx_frame_meta (buffer, (guint32) frame->frame_count,
      frame->metadata, frame->metadata_size > 0 ? (gsize) frame->metadata_size : 0);
  guint32 low, high;

  if (self->clock_frequency > 0 && gst_qx_frame_meta_find_tag (meta, "TSLO", &low)
      && gst_qx_frame_meta_find_tag (meta, "TSHI", &high)) {
    guint64 ticks = ((guint64) high << 32) | low;
    gst_buffer_add_reference_timestamp_meta (buffer, self->timestamp_reference,
        gst_util_uint64_scale (ticks, GST_SECOND, self->clock_frequency), self->frame_duration);
  }
}

/* Wraps or copies the frame; the frame is released or handed over either way. */
static GstFlowReturn
frame_to_buffer (GstQxCameraSrc * self, qx_frame * frame, GstBuffer ** out)
{
  GstBuffer *buffer;
  guint32 count = (guint32) frame->frame_count;
  guint32 missing = 0;

  if (frame->width != GST_VIDEO_INFO_WIDTH (&self->info)
      || frame->height != GST_VIDEO_INFO_HEIGHT (&self->info)) {
    GST_ELEMENT_ERROR (self, STREAM, FORMAT, ("Camera %s sent a %dx%d frame into a %dx%d stream.",
            self->open_serial, frame->width, frame->height, GST_VIDEO_INFO_WIDTH (&self->info),
            GST_VIDEO_INFO_HEIGHT (&self->info)), (NULL));
    qx_camera_release_frame (frame);
    return GST_FLOW_ERROR;
  }

  /* The camera's counter is 32 bits; the offset goes on across its wrap. */
  if (self->have_count) {
    guint32 step = count - self->last_count;
    missing = step - 1;
    self->extended_count += step;
  } else {
    self->extended_count = count;
  }
  self->last_count = count;

  buffer = gst_qx_frame_pool_acquire_shell (self->pool);
  if (buffer == NULL) {
    /* Every buffer is still downstream: this frame is dropped whole. */
    qx_camera_release_frame (frame);
    GST_OBJECT_LOCK (self);
    ++self->frames_dropped_downstream_busy;
    GST_OBJECT_UNLOCK (self);
    post_frames_lost (self, "downstream-busy", 1);
    self->have_count = TRUE;
    self->discont_pending = TRUE;
    *out = NULL;
    return GST_FLOW_OK;
  }
  if (self->zero_copy) {
    gst_buffer_append_memory (buffer, gst_qx_frame_pool_wrap_frame (frame,
            GST_VIDEO_INFO_SIZE (&self->info)));
    add_frame_metas (self, buffer, frame);
  } else {
    gst_buffer_append_memory (buffer, copy_frame (self, frame));
    add_frame_metas (self, buffer, frame);
    qx_camera_release_frame (frame);
  }

  GST_BUFFER_OFFSET (buffer) = self->extended_count;
  GST_BUFFER_OFFSET_END (buffer) = self->extended_count + 1;
  GST_BUFFER_DURATION (buffer) = self->frame_duration;
  if (!self->have_count || missing != 0 || self->discont_pending)
    GST_BUFFER_FLAG_SET (buffer, GST_BUFFER_FLAG_DISCONT);
  self->discont_pending = FALSE;
  if (self->have_count && missing != 0)
    post_frames_lost (self, "gap", missing);
  self->have_count = TRUE;
  GST_OBJECT_LOCK (self);
  ++self->frames_pushed;
  GST_OBJECT_UNLOCK (self);
  *out = buffer;
  return GST_FLOW_OK;
}

/* The camera was unplugged or stopped answering: an error naming it, then
 * the stream ends with EOS. */
static GstFlowReturn
report_lost_camera (GstQxCameraSrc * self, const gchar * kit_text)
{
  if (g_atomic_int_get (&self->unplugged))
    GST_ELEMENT_ERROR (self, RESOURCE, NOT_FOUND, ("Camera %s was disconnected.", self->open_serial),
        ("%s", kit_text ? kit_text : "unplugged"));
  else
    GST_ELEMENT_ERROR (self, RESOURCE, READ, ("Camera %s stopped delivering frames.", self->open_serial),
        ("%s", kit_text));
  return GST_FLOW_EOS;
}

static GstFlowReturn
handle_timeout (GstQxCameraSrc * self, guint timeout_ms, GstQxTimeoutPolicy policy)
{
  switch (policy) {
    case GST_QX_TIMEOUT_ERROR:
      GST_ELEMENT_ERROR (self, RESOURCE, READ, ("Camera %s sent no frame within %u ms.", self->open_serial,
              timeout_ms), (NULL));
      return GST_FLOW_ERROR;
    case GST_QX_TIMEOUT_EOS:
      GST_INFO_OBJECT (self, "no frame within %u ms: end of stream", timeout_ms);
      return GST_FLOW_EOS;
    case GST_QX_TIMEOUT_WAIT:
    default:
      gst_element_post_message (GST_ELEMENT (self), gst_message_new_element (GST_OBJECT (self),
              gst_structure_new ("qxcamerasrc-timeout", "timeout-ms", G_TYPE_UINT, timeout_ms, NULL)));
      return GST_FLOW_OK;
  }
}

static GstFlowReturn
gst_qx_camera_src_create (GstPushSrc * push, GstBuffer ** out)
{
  GstQxCameraSrc *self = GST_QX_CAMERA_SRC (push);
  gint64 waiting_since = g_get_monotonic_time ();

  *out = NULL;
  for (;;) {
    qx_frame frame;
    guint timeout_ms;
    GstQxTimeoutPolicy policy;
    GstFlowReturn result;

    if (g_atomic_int_get (&self->flushing))
      return GST_FLOW_FLUSHING;
    memset (&frame, 0, sizeof frame);
    frame.size = sizeof frame;
    if (qx_camera_acquire_frame (self->camera, WAIT_SLICE_MS, &frame) != 0)
      return report_lost_camera (self, qx_camera_get_last_error ());
    /* Losses are reported where they fall in the stream: before the first
     * frame after a gap, or once every frame before them is out. */
    if ((frame.image_data == NULL || follows_gap (self, &frame)) && !check_statistics (self)) {
      if (frame.image_data != NULL)
        qx_camera_release_frame (&frame);
      return GST_FLOW_ERROR;
    }
    if (frame.image_data == NULL && g_atomic_int_get (&self->unplugged))
      return report_lost_camera (self, NULL);
    if (frame.image_data != NULL) {
      result = frame_to_buffer (self, &frame, out);
      if (result != GST_FLOW_OK || *out != NULL)
        return result;
      waiting_since = g_get_monotonic_time ();
      continue;
    }

    GST_OBJECT_LOCK (self);
    timeout_ms = self->timeout_ms;
    policy = self->timeout_policy;
    GST_OBJECT_UNLOCK (self);
    if (timeout_ms == 0 || g_get_monotonic_time () - waiting_since < (gint64) timeout_ms * 1000)
      continue;
    result = handle_timeout (self, timeout_ms, policy);
    if (result != GST_FLOW_OK)
      return result;
    waiting_since = g_get_monotonic_time ();
  }
}

/* ---- signals and properties ---- */

static gboolean
gst_qx_camera_src_software_trigger (GstQxCameraSrc * self)
{
  gboolean triggered = FALSE;

  g_mutex_lock (&self->camera_lock);
  if (self->camera != NULL && self->armed)
    triggered = qx_camera_issue_software_trigger (self->camera) == 0;
  if (!triggered)
    GST_WARNING_OBJECT (self, "software trigger refused: %s",
        self->armed ? qx_camera_get_last_error () : "not streaming");
  g_mutex_unlock (&self->camera_lock);
  return triggered;
}

static GstStructure *
statistics_structure (GstQxCameraSrc * self)
{
  qx_stream_statistics statistics = { 0 };
  gboolean known;
  guint64 pushed, busy;

  statistics.size = sizeof statistics;
  g_mutex_lock (&self->camera_lock);
  known = self->camera != NULL && qx_camera_get_stream_statistics (self->camera, &statistics) == 0;
  g_mutex_unlock (&self->camera_lock);
  if (!known) {
    memset (&statistics, 0, sizeof statistics);
  }
  GST_OBJECT_LOCK (self);
  pushed = self->frames_pushed;
  busy = self->frames_dropped_downstream_busy;
  GST_OBJECT_UNLOCK (self);
  return gst_structure_new ("qxcamerasrc-stats",
      "frames-delivered", G_TYPE_UINT64, (guint64) statistics.frames_delivered,
      "frames-lost-incomplete", G_TYPE_UINT64, (guint64) statistics.frames_lost_incomplete,
      "frames-lost-no-free-slot", G_TYPE_UINT64, (guint64) statistics.frames_lost_no_free_slot,
      "stalls-recovered", G_TYPE_UINT64, (guint64) statistics.stalls_recovered,
      "resets", G_TYPE_UINT64, (guint64) statistics.resets,
      "bytes-received", G_TYPE_UINT64, (guint64) statistics.bytes_received,
      "packets-received", G_TYPE_UINT64, (guint64) statistics.packets_received,
      "frames-pushed", G_TYPE_UINT64, pushed,
      "frames-dropped-downstream-busy", G_TYPE_UINT64, busy, NULL);
}

/* Exposure, gain and settings reach a running camera at once. */
static void
apply_live_change (GstQxCameraSrc * self, guint property_id)
{
  gint64 exposure_us;
  gint gain;
  GstStructure *settings = NULL;

  GST_OBJECT_LOCK (self);
  exposure_us = property_id == PROP_EXPOSURE_US ? self->exposure_us : -1;
  gain = property_id == PROP_GAIN ? self->gain : -1;
  if (property_id == PROP_SETTINGS && self->settings)
    settings = gst_structure_copy (self->settings);
  GST_OBJECT_UNLOCK (self);

  g_mutex_lock (&self->camera_lock);
  if (self->camera != NULL) {
    self->changing_live = TRUE;
    apply_live_properties (self, exposure_us, gain);
    apply_settings (self, settings);
    self->changing_live = FALSE;
  }
  g_mutex_unlock (&self->camera_lock);
  if (settings)
    gst_structure_free (settings);
}

static void
gst_qx_camera_src_set_property (GObject * object, guint property_id, const GValue * value, GParamSpec * pspec)
{
  GstQxCameraSrc *self = GST_QX_CAMERA_SRC (object);
  const GstStructure *settings;

  GST_OBJECT_LOCK (self);
  switch (property_id) {
    case PROP_SERIAL:
      g_free (self->serial);
      self->serial = g_value_dup_string (value);
      break;
    case PROP_EXPOSURE_US:
      self->exposure_us = g_value_get_int64 (value);
      break;
    case PROP_GAIN:
      self->gain = g_value_get_int (value);
      break;
    case PROP_BINNING:
      self->binning = g_value_get_int (value);
      break;
    case PROP_OFFSET_X:
      self->offset_x = g_value_get_int (value);
      break;
    case PROP_OFFSET_Y:
      self->offset_y = g_value_get_int (value);
      break;
    case PROP_TRIGGER_MODE:
      self->trigger_mode = g_value_get_enum (value);
      break;
    case PROP_CAMERA_BUFFERS:
      self->camera_buffers = g_value_get_int (value);
      break;
    case PROP_TIMEOUT_MS:
      self->timeout_ms = g_value_get_uint (value);
      break;
    case PROP_TIMEOUT_POLICY:
      self->timeout_policy = g_value_get_enum (value);
      break;
    case PROP_DROP_INCOMPLETE:
      self->drop_incomplete = g_value_get_boolean (value);
      break;
    case PROP_SETTINGS:
      settings = gst_value_get_structure (value);
      if (self->settings)
        gst_structure_free (self->settings);
      self->settings = settings ? gst_structure_copy (settings) : NULL;
      break;
    default:
      G_OBJECT_WARN_INVALID_PROPERTY_ID (object, property_id, pspec);
      break;
  }
  GST_OBJECT_UNLOCK (self);
  if (property_id == PROP_EXPOSURE_US || property_id == PROP_GAIN || property_id == PROP_SETTINGS)
    apply_live_change (self, property_id);
}

static void
gst_qx_camera_src_get_property (GObject * object, guint property_id, GValue * value, GParamSpec * pspec)
{
  GstQxCameraSrc *self = GST_QX_CAMERA_SRC (object);

  if (property_id == PROP_STATS) {
    g_value_take_boxed (value, statistics_structure (self));
    return;
  }
  GST_OBJECT_LOCK (self);
  switch (property_id) {
    case PROP_SERIAL:
      g_value_set_string (value, self->serial);
      break;
    case PROP_EXPOSURE_US:
      g_value_set_int64 (value, self->exposure_us);
      break;
    case PROP_GAIN:
      g_value_set_int (value, self->gain);
      break;
    case PROP_BINNING:
      g_value_set_int (value, self->binning);
      break;
    case PROP_OFFSET_X:
      g_value_set_int (value, self->offset_x);
      break;
    case PROP_OFFSET_Y:
      g_value_set_int (value, self->offset_y);
      break;
    case PROP_TRIGGER_MODE:
      g_value_set_enum (value, self->trigger_mode);
      break;
    case PROP_CAMERA_BUFFERS:
      g_value_set_int (value, self->camera_buffers);
      break;
    case PROP_TIMEOUT_MS:
      g_value_set_uint (value, self->timeout_ms);
      break;
    case PROP_TIMEOUT_POLICY:
      g_value_set_enum (value, self->timeout_policy);
      break;
    case PROP_DROP_INCOMPLETE:
      g_value_set_boolean (value, self->drop_incomplete);
      break;
    case PROP_SETTINGS:
      gst_value_set_structure (value, self->settings);
      break;
    default:
      G_OBJECT_WARN_INVALID_PROPERTY_ID (object, property_id, pspec);
      break;
  }
  GST_OBJECT_UNLOCK (self);
}

static void
gst_qx_camera_src_finalize (GObject * object)
{
  GstQxCameraSrc *self = GST_QX_CAMERA_SRC (object);

  g_free (self->serial);
  if (self->settings)
    gst_structure_free (self->settings);
  g_mutex_clear (&self->camera_lock);
  G_OBJECT_CLASS (gst_qx_camera_src_parent_class)->finalize (object);
}

static void
gst_qx_camera_src_class_init (GstQxCameraSrcClass * klass)
{
  GObjectClass *object_class = G_OBJECT_CLASS (klass);
  GstElementClass *element_class = GST_ELEMENT_CLASS (klass);
  GstBaseSrcClass *base_class = GST_BASE_SRC_CLASS (klass);
  GstPushSrcClass *push_class = GST_PUSH_SRC_CLASS (klass);
  const GParamFlags flags = G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS;
  const GParamFlags start_flags = flags | GST_PARAM_MUTABLE_READY;
  const GParamFlags live_flags = flags | GST_PARAM_MUTABLE_PLAYING;

  object_class->set_property = gst_qx_camera_src_set_property;
  object_class->get_property = gst_qx_camera_src_get_property;
  object_class->finalize = gst_qx_camera_src_finalize;

  g_object_class_install_property (object_class, PROP_SERIAL, g_param_spec_string ("serial", "Serial number",
          "Serial number of the camera (empty: the first one connected)", NULL, start_flags));
  g_object_class_install_property (object_class, PROP_EXPOSURE_US, g_param_spec_int64 ("exposure-us",
          "Exposure", "Exposure time in microseconds (-1: the camera's)", -1, G_MAXINT64, -1, live_flags));
  g_object_class_install_property (object_class, PROP_GAIN, g_param_spec_int ("gain", "Gain",
          "Gain index (-1: the camera's)", -1, G_MAXINT, -1, live_flags));
  g_object_class_install_property (object_class, PROP_BINNING, g_param_spec_int ("binning", "Binning",
          "Horizontal and vertical binning factor (0: the camera's)", 0, 16, 0, start_flags));
  g_object_class_install_property (object_class, PROP_OFFSET_X, g_param_spec_int ("offset-x", "Offset x",
          "Left sensor column of the image (-1: centred)", -1, G_MAXINT, -1, start_flags));
  g_object_class_install_property (object_class, PROP_OFFSET_Y, g_param_spec_int ("offset-y", "Offset y",
          "Top sensor row of the image (-1: centred)", -1, G_MAXINT, -1, start_flags));
  g_object_class_install_property (object_class, PROP_TRIGGER_MODE, g_param_spec_enum ("trigger-mode",
          "Trigger mode", "What starts frames", gst_qx_trigger_mode_get_type (), GST_QX_TRIGGER_FREE_RUN,
          start_flags));
  g_object_class_install_property (object_class, PROP_CAMERA_BUFFERS, g_param_spec_int ("camera-buffers",
          "Camera buffers", "Frame slots of the camera, and so the most buffers downstream can hold", 2, 256,
          DEFAULT_CAMERA_BUFFERS, start_flags));
  g_object_class_install_property (object_class, PROP_TIMEOUT_MS, g_param_spec_uint ("timeout-ms",
          "Time-out", "Longest wait for a frame in milliseconds before timeout-policy applies (0: none)", 0,
          G_MAXUINT, 0, live_flags));
  g_object_class_install_property (object_class, PROP_TIMEOUT_POLICY, g_param_spec_enum ("timeout-policy",
          "Time-out policy", "What a time-out does", gst_qx_timeout_policy_get_type (), GST_QX_TIMEOUT_ERROR,
          live_flags));
  g_object_class_install_property (object_class, PROP_DROP_INCOMPLETE, g_param_spec_boolean (
          "drop-incomplete", "Drop incomplete", "Drop damaged frames and go on (false: a damaged frame is an error)",
          TRUE, live_flags));
  g_object_class_install_property (object_class, PROP_SETTINGS, g_param_spec_boxed ("settings", "Settings",
          "Camera parameters by name, such as settings,black_level=12", GST_TYPE_STRUCTURE, live_flags));
  g_object_class_install_property (object_class, PROP_STATS, g_param_spec_boxed ("stats", "Statistics",
          "Counters of the stream", GST_TYPE_STRUCTURE, G_PARAM_READABLE | G_PARAM_STATIC_STRINGS));

  signals[SIGNAL_SOFTWARE_TRIGGER] = g_signal_new_class_handler ("software-trigger",
      G_TYPE_FROM_CLASS (klass), G_SIGNAL_RUN_LAST | G_SIGNAL_ACTION,
      G_CALLBACK (gst_qx_camera_src_software_trigger), NULL, NULL, NULL, G_TYPE_BOOLEAN, 0);

  gst_element_class_add_static_pad_template (element_class, &src_template);
  gst_element_class_set_static_metadata (element_class, "Quendral VKO camera source", "Source/Video",
      "Frames of a Quendral VKO scientific camera", "Quendral VKO <support@quendral.example>");

  base_class->start = gst_qx_camera_src_start;
  base_class->stop = gst_qx_camera_src_stop;
  base_class->get_caps = gst_qx_camera_src_get_caps;
  base_class->fixate = gst_qx_camera_src_fixate;
  base_class->set_caps = gst_qx_camera_src_set_caps;
  base_class->query = gst_qx_camera_src_query;
  base_class->unlock = gst_qx_camera_src_unlock;
  base_class->unlock_stop = gst_qx_camera_src_unlock_stop;
  push_class->create = gst_qx_camera_src_create;

  gst_type_mark_as_plugin_api (gst_qx_trigger_mode_get_type (), 0);
  gst_type_mark_as_plugin_api (gst_qx_timeout_policy_get_type (), 0);
}

static void
gst_qx_camera_src_init (GstQxCameraSrc * self)
{
  g_mutex_init (&self->camera_lock);
  self->exposure_us = -1;
  self->gain = -1;
  self->offset_x = -1;
  self->offset_y = -1;
  self->camera_buffers = DEFAULT_CAMERA_BUFFERS;
  self->drop_incomplete = TRUE;
  self->timeout_policy = GST_QX_TIMEOUT_ERROR;
  gst_base_src_set_live (GST_BASE_SRC (self), TRUE);
  gst_base_src_set_format (GST_BASE_SRC (self), GST_FORMAT_TIME);
  gst_base_src_set_do_timestamp (GST_BASE_SRC (self), TRUE);
}
