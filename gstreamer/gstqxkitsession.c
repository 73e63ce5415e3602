#include "gstqxkitsession.h"

#include <gst/gst.h>
#include <string.h>

#include "quendral_vko_camera_sdk.h"

/* Discovery, opening and closing change the kit's camera registry and are
 * serialised here as well, so that a closing last user never races an
 * opening first one. */
static GMutex session_lock;
static guint session_users;

typedef struct {
  guint id;
  GstQxCameraEventFunc func;
  gpointer data;
} camera_watcher;

/* Watchers are called with watch_lock held, so that unwatch waits for a
 * call in progress; they run no kit calls. */
static GMutex watch_lock;
static GList *watchers;
static guint last_watch_id;
static gboolean kit_callbacks_set;

void
gst_qx_kit_session_set_error (GError ** error, const gchar * what)
{
  g_set_error (error, GST_RESOURCE_ERROR, GST_RESOURCE_ERROR_FAILED, "%s: %s", what,
      qx_camera_get_last_error ());
}

gboolean
gst_qx_kit_session_acquire (GError ** error)
{
  gboolean opened = TRUE;

  g_mutex_lock (&session_lock);
  if (session_users == 0 && qx_camera_open_sdk () != 0) {
    gst_qx_kit_session_set_error (error, "Could not open the camera kit");
    opened = FALSE;
  }
  if (opened)
    ++session_users;
  g_mutex_unlock (&session_lock);
  return opened;
}

void
gst_qx_kit_session_release (void)
{
  g_mutex_lock (&session_lock);
  if (session_users > 0 && --session_users == 0) {
    if (qx_camera_close_sdk () != 0)
      GST_WARNING ("closing the camera kit: %s", qx_camera_get_last_error ());
    /* A new kit starts without callbacks. */
    g_mutex_lock (&watch_lock);
    kit_callbacks_set = FALSE;
    g_mutex_unlock (&watch_lock);
  }
  g_mutex_unlock (&session_lock);
}

gchar *
gst_qx_kit_session_discover (GError ** error)
{
  /* Serial numbers are at most 63 characters plus a blank each. */
  gchar serials[4096] = { 0 };
  gchar *result = NULL;

  g_mutex_lock (&session_lock);
  if (qx_camera_discover_available_cameras (serials, sizeof serials - 1) == 0)
    result = g_strstrip (g_strdup (serials));
  else
    gst_qx_kit_session_set_error (error, "Could not list the cameras");
  g_mutex_unlock (&session_lock);
  return result;
}

void *
gst_qx_kit_session_open_camera (const gchar * serial, gchar ** opened_serial, GError ** error)
{
  void *camera = NULL;
  gchar *listed = gst_qx_kit_session_discover (error);
  gchar **serials;
  gchar *wanted = NULL;

  if (listed == NULL)
    return NULL;
  serials = g_strsplit (listed, " ", -1);
  if (serial == NULL || serial[0] == '\0') {
    if (serials[0] != NULL && serials[0][0] != '\0')
      wanted = g_strdup (serials[0]);
    else
      g_set_error (error, GST_RESOURCE_ERROR, GST_RESOURCE_ERROR_NOT_FOUND, "No camera is connected.");
  } else if (g_strv_contains ((const gchar * const *) serials, serial)) {
    wanted = g_strdup (serial);
  } else {
    g_set_error (error, GST_RESOURCE_ERROR, GST_RESOURCE_ERROR_NOT_FOUND,
        "No camera with serial number %s is connected.", serial);
  }
  g_strfreev (serials);
  g_free (listed);

  if (wanted != NULL) {
    g_mutex_lock (&session_lock);
    if (qx_camera_open_camera (wanted, &camera) != 0) {
      gst_qx_kit_session_set_error (error, "Could not open the camera");
      camera = NULL;
    }
    g_mutex_unlock (&session_lock);
  }
  if (camera != NULL && opened_serial != NULL)
    *opened_serial = g_strdup (wanted);
  g_free (wanted);
  return camera;
}

void
gst_qx_kit_session_close_camera (void *camera)
{
  if (camera == NULL)
    return;
  g_mutex_lock (&session_lock);
  if (qx_camera_close_camera (camera) != 0)
    GST_WARNING ("closing the camera: %s", qx_camera_get_last_error ());
  g_mutex_unlock (&session_lock);
}

static void
tell_watchers (const char *serial, gboolean connected)
{
  GList *item;

  if (serial == NULL)
    return;
  g_mutex_lock (&watch_lock);
  for (item = watchers; item; item = item->next) {
    camera_watcher *watcher = item->data;
    watcher->func (serial, connected, watcher->data);
  }
  g_mutex_unlock (&watch_lock);
}

static void
camera_connected (const char *serial_number, int usb_port_type, void *context)
{
  (void) usb_port_type;
  (void) context;
  tell_watchers (serial_number, TRUE);
}

static void
camera_disconnected (const char *serial_number, void *context)
{
  (void) context;
  tell_watchers (serial_number, FALSE);
}

guint
gst_qx_kit_session_watch_cameras (GstQxCameraEventFunc func, gpointer data, GError ** error)
{
  camera_watcher *watcher;
  gboolean set;
  guint id = 0;

  g_mutex_lock (&session_lock);
  g_mutex_lock (&watch_lock);
  set = kit_callbacks_set;
  g_mutex_unlock (&watch_lock);
  /* The kit calls back on its own threads; watch_lock is not held while
   * registering, so that a callback in flight cannot block the kit. */
  if (!set) {
    set = qx_camera_set_camera_connect_callback (camera_connected, NULL) == 0
        && qx_camera_set_camera_disconnect_callback (camera_disconnected, NULL) == 0;
    if (!set)
      gst_qx_kit_session_set_error (error, "Could not follow camera hot-plug");
  }
  if (set) {
    watcher = g_new0 (camera_watcher, 1);
    watcher->func = func;
    watcher->data = data;
    g_mutex_lock (&watch_lock);
    kit_callbacks_set = TRUE;
    watcher->id = id = ++last_watch_id;
    watchers = g_list_append (watchers, watcher);
    g_mutex_unlock (&watch_lock);
  }
  g_mutex_unlock (&session_lock);
  return id;
}

void
gst_qx_kit_session_unwatch_cameras (guint id)
{
  GList *item;

  g_mutex_lock (&watch_lock);
  for (item = watchers; item; item = item->next) {
    camera_watcher *watcher = item->data;
    if (watcher->id == id) {
      watchers = g_list_delete_link (watchers, item);
      g_free (watcher);
      break;
    }
  }
  g_mutex_unlock (&watch_lock);
}
