/* The frame's own metadata record, as the camera sent it, attached to each
 * buffer. Applications that do not link this plugin find it by its API type
 * name "GstQxFrameMetaAPI" and read the fields below. */
#ifndef GST_QX_FRAME_META_H
#define GST_QX_FRAME_META_H

#include <gst/gst.h>

G_BEGIN_DECLS

typedef struct _GstQxFrameMeta {
  GstMeta meta;
  guint32 frame_count;          /* the camera's 32-bit frame counter */
  GBytes *record;               /* the metadata record: tag/value pairs of 32-bit words */
} GstQxFrameMeta;

GType gst_qx_frame_meta_api_get_type (void);
const GstMetaInfo *gst_qx_frame_meta_get_info (void);

#define GST_QX_FRAME_META_API_TYPE (gst_qx_frame_meta_api_get_type ())
#define gst_buffer_get_qx_frame_meta(b) \
  ((GstQxFrameMeta *) gst_buffer_get_meta ((b), GST_QX_FRAME_META_API_TYPE))

/* Attaches a copy of @size bytes of @record. */
GstQxFrameMeta *gst_buffer_add_qx_frame_meta (GstBuffer * buffer, guint32 frame_count,
    const guint8 * record, gsize size);

/* Looks @tag (four characters such as "TSLO") up in the record; FALSE when absent. */
gboolean gst_qx_frame_meta_find_tag (const GstQxFrameMeta * meta, const gchar * tag, guint32 * value);

G_END_DECLS

#endif
