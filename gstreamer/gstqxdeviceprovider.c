#include "gstqxdeviceprovider.h"

#include "gstqxcameradevice.h"
#include "gstqxkitsession.h"
#include "quendral_vko_camera_sdk.h"

GST_DEBUG_CATEGORY_STATIC (gst_qx_device_provider_debug);
#define GST_CAT_DEFAULT gst_qx_device_provider_debug

struct _GstQxDeviceProvider {
  GstDeviceProvider parent;
  gboolean monitoring;
};

G_DEFINE_TYPE_WITH_CODE (GstQxDeviceProvider, gst_qx_device_provider, GST_TYPE_DEVICE_PROVIDER,
    GST_DEBUG_CATEGORY_INIT (gst_qx_device_provider_debug, "qxdeviceprovider", 0, "camera device provider"));

/* The kit's hot-plug callbacks are process-wide: one monitoring provider
 * receives them. The lock keeps it alive while a callback uses it. */
static GMutex monitor_lock;
static GstDeviceProvider *monitoring_provider;

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

static void
camera_connected (const char *serial_number, int usb_port_type, void *context)
{
  GstDevice *known;

  (void) usb_port_type;
  (void) context;
  g_mutex_lock (&monitor_lock);
  if (monitoring_provider != NULL && serial_number != NULL) {
    known = find_device (monitoring_provider, serial_number);
    if (known == NULL)
      gst_device_provider_device_add (monitoring_provider, gst_qx_camera_device_new (serial_number));
    else
      gst_object_unref (known);
  }
  g_mutex_unlock (&monitor_lock);
}

static void
camera_disconnected (const char *serial_number, void *context)
{
  GstDevice *known;

  (void) context;
  g_mutex_lock (&monitor_lock);
  if (monitoring_provider != NULL && serial_number != NULL
      && (known = find_device (monitoring_provider, serial_number)) != NULL) {
    gst_device_provider_device_remove (monitoring_provider, known);
    gst_object_unref (known);
  }
  g_mutex_unlock (&monitor_lock);
}

static gboolean
gst_qx_device_provider_start (GstDeviceProvider * provider)
{
  GstQxDeviceProvider *self = GST_QX_DEVICE_PROVIDER (provider);
  GError *error = NULL;
  GList *devices, *item;
  gboolean claimed;

  g_mutex_lock (&monitor_lock);
  claimed = monitoring_provider == NULL;
  if (claimed)
    monitoring_provider = gst_object_ref (provider);
  g_mutex_unlock (&monitor_lock);
  if (!claimed) {
    GST_WARNING_OBJECT (provider, "another provider already follows the cameras");
    return FALSE;
  }
  if (!gst_qx_kit_session_acquire (&error)) {
    GST_WARNING_OBJECT (provider, "%s", error->message);
    g_error_free (error);
    goto unclaim;
  }
  if (qx_camera_set_camera_connect_callback (camera_connected, NULL) != 0
      || qx_camera_set_camera_disconnect_callback (camera_disconnected, NULL) != 0) {
    GST_WARNING_OBJECT (provider, "hot-plug events: %s", qx_camera_get_last_error ());
    qx_camera_set_camera_connect_callback (NULL, NULL);
    gst_qx_kit_session_release ();
    goto unclaim;
  }
  /* Cameras connected before monitoring began: an arrival in between is
   * listed once, since additions of a known serial number are skipped. */
  devices = devices_of_connected_cameras ();
  g_mutex_lock (&monitor_lock);
  for (item = devices; item; item = item->next) {
    GstDevice *known = find_device (provider, gst_qx_camera_device_get_serial (item->data));

    if (known == NULL)
      gst_device_provider_device_add (provider, gst_object_ref_sink (item->data));
    else
      gst_object_unref (known);
    gst_object_unref (item->data);
  }
  g_mutex_unlock (&monitor_lock);
  g_list_free (devices);
  self->monitoring = TRUE;
  return TRUE;

unclaim:
  g_mutex_lock (&monitor_lock);
  gst_clear_object (&monitoring_provider);
  g_mutex_unlock (&monitor_lock);
  return FALSE;
}

static void
gst_qx_device_provider_stop (GstDeviceProvider * provider)
{
  GstQxDeviceProvider *self = GST_QX_DEVICE_PROVIDER (provider);

  if (!self->monitoring)
    return;
  qx_camera_set_camera_connect_callback (NULL, NULL);
  qx_camera_set_camera_disconnect_callback (NULL, NULL);
  g_mutex_lock (&monitor_lock);
  gst_clear_object (&monitoring_provider);
  g_mutex_unlock (&monitor_lock);
  gst_qx_kit_session_release ();
  self->monitoring = FALSE;
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
