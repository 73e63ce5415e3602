/* qxcamerasrc: a live source of one camera's frames. */
#ifndef GST_QX_CAMERA_SRC_H
#define GST_QX_CAMERA_SRC_H

#include <gst/base/gstpushsrc.h>
#include <gst/gst.h>
#include <gst/video/video.h>

#include "quendral_vko_camera_sdk.h"

G_BEGIN_DECLS

typedef enum {
  GST_QX_TRIGGER_FREE_RUN,
  GST_QX_TRIGGER_SOFTWARE,
  GST_QX_TRIGGER_HARDWARE,
} GstQxTriggerMode;

typedef enum {
  GST_QX_TIMEOUT_ERROR,
  GST_QX_TIMEOUT_WAIT,
  GST_QX_TIMEOUT_EOS,
} GstQxTimeoutPolicy;

#define GST_TYPE_QX_CAMERA_SRC (gst_qx_camera_src_get_type ())
G_DECLARE_FINAL_TYPE (GstQxCameraSrc, gst_qx_camera_src, GST, QX_CAMERA_SRC, GstPushSrc)

struct _GstQxCameraSrc {
  GstPushSrc parent;

  /* Properties, under the object lock. */
  gchar *serial;
  gint64 exposure_us;
  gint gain;
  gint binning;
  gint offset_x;
  gint offset_y;
  GstQxTriggerMode trigger_mode;
  gint camera_buffers;
  guint timeout_ms;
  GstQxTimeoutPolicy timeout_policy;
  gboolean drop_incomplete;
  GstStructure *settings;

  /* The open camera. camera_lock keeps it alive for application threads
   * (trigger, statistics, live settings); the streaming thread runs only
   * between start and stop, which change it. */
  GMutex camera_lock;
  void *camera;
  gchar *open_serial;
  gboolean armed;
  gboolean changing_live;
  guint64 clock_frequency;
  GstClockTime frame_duration;

  /* Streaming state, streaming thread only. */
  GstVideoInfo info;
  gboolean zero_copy;
  GstBufferPool *pool;
  gboolean have_count;
  guint32 last_count;
  guint64 extended_count;
  gboolean discont_pending;
  qx_stream_statistics last_statistics;
  GstCaps *timestamp_reference;

  /* Counted by the element itself, read with atomics. */
  guint64 frames_pushed;
  guint64 frames_dropped_downstream_busy;

  gint flushing;
  gint unplugged;
  guint watch_id;
};

G_END_DECLS

#endif
