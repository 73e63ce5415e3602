#include "gstqxdeviceprovider.h"

#include "gstqxcameradevice.h"
#include "gstqxkitsession.h"

GST_DEBUG_CATEGORY_STATIC (gst_qx_device_provider_debug);
#define GST_CAT_DEFAULT gst_qx_device_provider_debug

struct _GstQxDeviceProvider {
  GstDeviceProvider parent;
  guint watch_id;
};

G_DEFINE_TYPE_WITH_CODE (GstQxDeviceProvider, gst_qx_device_provider, GST_TYPE_DEVICE_PROVIDER,
    GST_DEBUG_CATEGORY_INIT (gst_qx_device_provider_debug, "qxdeviceprovider", 0, "camera device provider"));

static GList *
devices_of_connected_cameras (void)
{
  GList *devices = NULL;
  gchar *listed = gst_qx_kit_session_discover (NULL);
  gchar **serials = listed ? g_strsplit (listed, " ", -1) : NULL;
  gchar **serial;

  for (serial = serials; serial && *serial; ++serial) {
    if (**serial != '\0')
      devices = g_list_append (devices, gst_qx_camera_device_new (*serial));
  }
  g_strfreev (serials);
  g_free (listed);
  return devices;
}

static GList *
gst_qx_device_provider_probe (GstDeviceProvider * provider)
{
  GError *error = NULL;
  GList *devices;

  if (!gst_qx_kit_session_acquire (&error)) {
    GST_WARNING_OBJECT (provider, "%s", error->message);
    g_error_free (error);
    return NULL;
  }
  devices = devices_of_connected_cameras ();
  gst_qx_kit_session_release ();
  return devices;
}

/* The listed device of @serial (a new reference), or NULL. The list is
 * read under the object lock: the provider's own accessor waits for a
 * start in progress, and start itself lists the cameras. */
static GstDevice *
find_device (GstDeviceProvider * provider, const gchar * serial)
{
  GstDevice *found = NULL;
  GList *item;

  GST_OBJECT_LOCK (provider);
  for (item = provider->devices; item && found == NULL; item = item->next) {
    if (GST_IS_QX_CAMERA_DEVICE (item->data)
        && g_strcmp0 (gst_qx_camera_device_get_serial (item->data), serial) == 0)
      found = gst_object_ref (item->data);
  }
  GST_OBJECT_UNLOCK (provider);
  return found;
}

/* On the kit's hot-plug thread. */
static void
camera_changed (const gchar * serial, gboolean connected, gpointer data)
{
  GstDeviceProvider *provider = data;
  GstDevice *known = find_device (provider, serial);

  if (connected && known == NULL)
    gst_device_provider_device_add (provider, gst_qx_camera_device_new (serial));
  else if (!connected && known != NULL)
    gst_device_provider_device_remove (provider, known);
  if (known)
    gst_object_unref (known);
}

static gboolean
gst_qx_device_provider_start (GstDeviceProvider * provider)
{
  GstQxDeviceProvider *self = GST_QX_DEVICE_PROVIDER (provider);
  GError *error = NULL;
  GList *devices, *item;

  if (!gst_qx_kit_session_acquire (&error))
    goto failed;
  self->watch_id = gst_qx_kit_session_watch_cameras (camera_changed, provider, &error);
  if (self->watch_id == 0) {
    gst_qx_kit_session_release ();
    goto failed;
  }
  /* Cameras connected before watching began; one that arrived in between
   * is listed once. */
  devices = devices_of_connected_cameras ();
  for (item = devices; item; item = item->next) {
    gst_object_ref_sink (item->data);
    camera_changed (gst_qx_camera_device_get_serial (item->data), TRUE, provider);
    gst_object_unref (item->data);
  }
  g_list_free (devices);
  return TRUE;

failed:
  GST_WARNING_OBJECT (provider, "%s", error->message);
  g_error_free (error);
  return FALSE;
}

static void
gst_qx_device_provider_stop (GstDeviceProvider * provider)
{
  GstQxDeviceProvider *self = GST_QX_DEVICE_PROVIDER (provider);

  if (self->watch_id == 0)
    return;
  gst_qx_kit_session_unwatch_cameras (self->watch_id);
  self->watch_id = 0;
  gst_qx_kit_session_release ();
}

static void
gst_qx_device_provider_class_init (GstQxDeviceProviderClass * klass)
{
  GstDeviceProviderClass *provider_class = GST_DEVICE_PROVIDER_CLASS (klass);

  provider_class->probe = gst_qx_device_provider_probe;
  provider_class->start = gst_qx_device_provider_start;
  provider_class->stop = gst_qx_device_provider_stop;
  gst_device_provider_class_set_static_metadata (provider_class, "Quendral VKO camera provider",
      "Source/Video", "Lists Quendral VKO cameras and follows hot-plug", "Quendral VKO <support@quendral.example>");
}

static void
gst_qx_device_provider_init (GstQxDeviceProvider * self)
{
  (void) self;
}
