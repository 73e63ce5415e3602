/* One process-wide opening of the camera kit, shared by every element and
 * the device provider: the kit is opened by its first user and closed by
 * its last, since closing it while another user holds a camera fails. */
#ifndef GST_QX_KIT_SESSION_H
#define GST_QX_KIT_SESSION_H

#include <glib.h>

G_BEGIN_DECLS

/* Opens the kit on the first call; on failure fills @error and returns FALSE. */
gboolean gst_qx_kit_session_acquire (GError ** error);
/* Closes the kit after the last user released it. */
void gst_qx_kit_session_release (void);
/* Space-separated serial numbers of the cameras now connected, or NULL. */
gchar *gst_qx_kit_session_discover (GError ** error);

/* Opens the camera @serial (the first camera when NULL or empty); the
 * serial number actually opened goes to @opened_serial. */
void *gst_qx_kit_session_open_camera (const gchar * serial, gchar ** opened_serial, GError ** error);
void gst_qx_kit_session_close_camera (void *camera);

/* Called on the kit's hot-plug thread when a camera comes or goes. */
typedef void (*GstQxCameraEventFunc) (const gchar * serial, gboolean connected, gpointer data);

/* The kit has one pair of hot-plug callbacks per process; every watcher of
 * this session hears each event. Needs the session acquired; returns an id
 * for unwatch, or 0 with @error set. After unwatch returns, @func is not
 * called any more. */
guint gst_qx_kit_session_watch_cameras (GstQxCameraEventFunc func, gpointer data, GError ** error);
void gst_qx_kit_session_unwatch_cameras (guint id);

/* The kit's last-error text as a GError of the resource domain. */
void gst_qx_kit_session_set_error (GError ** error, const gchar * what);

G_END_DECLS

#endif
