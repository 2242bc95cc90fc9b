#ifndef LE910SIM_USB_PLUG_H
#define LE910SIM_USB_PLUG_H

#include <string>

namespace le910sim {

// The cable of a USB gadget that stands for the modem (Linux configfs): its file UDC holds the name
// of the controller that it is plugged into.
class cUsbPlug {
  public:
    // folder: of the gadget, as /sys/kernel/config/usb_gadget/modem
    cUsbPlug(const std::string& folder, std::string controller)
        : m_file(folder + "/UDC"), m_controller(std::move(controller)) {}
    ~cUsbPlug() { unplug(); }
    cUsbPlug(const cUsbPlug&) = delete;
    cUsbPlug& operator=(const cUsbPlug&) = delete;

    // Nothing to do for a cable that somebody else plugged in. Throws std::runtime_error.
    void plugIn();
    void unplug();

  private:
    bool store(const std::string& text) const;

    std::string m_file;
    std::string m_controller;
    bool m_pluggedIn = false;
};

}  // namespace le910sim

#endif
