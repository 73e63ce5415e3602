#include "gstqxframemeta.h"

#include <string.h>

static gboolean
frame_meta_init (GstMeta * meta, gpointer params, GstBuffer * buffer)
{
  GstQxFrameMeta *frame_meta = (GstQxFrameMeta *) meta;

  (void) params;
  (void) buffer;
  frame_meta->frame_count = 0;
  frame_meta->record = NULL;
  return TRUE;
}

static void
frame_meta_free (GstMeta * meta, GstBuffer * buffer)
{
  GstQxFrameMeta *frame_meta = (GstQxFrameMeta *) meta;

  (void) buffer;
  g_clear_pointer (&frame_meta->record, g_bytes_unref);
}

/* The record describes the whole frame, so it survives copies and region
 * changes alike; the bytes are shared, never duplicated. */
static gboolean
frame_meta_transform (GstBuffer * destination, GstMeta * meta, GstBuffer * source, GQuark type,
    gpointer data)
{
  GstQxFrameMeta *frame_meta = (GstQxFrameMeta *) meta;
  GstQxFrameMeta *copy;

  (void) source;
  (void) type;
  (void) data;
  copy = (GstQxFrameMeta *) gst_buffer_add_meta (destination, gst_qx_frame_meta_get_info (), NULL);
  if (copy == NULL)
    return FALSE;
  copy->frame_count = frame_meta->frame_count;
  copy->record = frame_meta->record != NULL ? g_bytes_ref (frame_meta->record) : NULL;
  return TRUE;
}

GType
gst_qx_frame_meta_api_get_type (void)
{
  static GType type = 0;
  static const gchar *tags[] = { NULL };

  if (g_once_init_enter (&type)) {
    GType registered = gst_meta_api_type_register ("GstQxFrameMetaAPI", tags);
    g_once_init_leave (&type, registered);
  }
  return type;
}

const GstMetaInfo *
gst_qx_frame_meta_get_info (void)
{
  static const GstMetaInfo *info = NULL;

  if (g_once_init_enter ((GstMetaInfo **) & info)) {
    const GstMetaInfo *registered =
        gst_meta_register (GST_QX_FRAME_META_API_TYPE, "GstQxFrameMeta", sizeof (GstQxFrameMeta),
        frame_meta_init, frame_meta_free, frame_meta_transform);
    g_once_init_leave ((GstMetaInfo **) & info, (GstMetaInfo *) registered);
  }
  return info;
}

GstQxFrameMeta *
gst_buffer_add_qx_frame_meta (GstBuffer * buffer, guint32 frame_count, const guint8 * record, gsize size)
{
  GstQxFrameMeta *meta =
      (GstQxFrameMeta *) gst_buffer_add_meta (buffer, gst_qx_frame_meta_get_info (), NULL);

  meta->frame_count = frame_count;
  meta->record = g_bytes_new (record, size);
  return meta;
}

gboolean
gst_qx_frame_meta_find_tag (const GstQxFrameMeta * meta, const gchar * tag, guint32 * value)
{
  gsize size = 0;
  const guint8 *words;
  gsize offset;

  if (meta->record == NULL || strlen (tag) != 4)
    return FALSE;
  words = g_bytes_get_data (meta->record, &size);
  for (offset = 0; offset + 8 <= size; offset += 8) {
    if (memcmp (words + offset, "ENDT", 4) == 0)
      break;
    if (memcmp (words + offset, tag, 4) == 0) {
      *value = GST_READ_UINT32_LE (words + offset + 4);
      return TRUE;
    }
  }
  return FALSE;
}
