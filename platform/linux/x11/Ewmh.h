#pragma once

#include <xcb/xcb_ewmh.h>

/// The atoms of the window manager's properties, as the functions of xcb-ewmh need them. The
/// connection must outlive it.
class Ewmh : public xcb_ewmh_connection_t
{
public:
    Ewmh() : xcb_ewmh_connection_t{} {}
    ~Ewmh() { xcb_ewmh_connection_wipe(this); }
    Ewmh(const Ewmh &) = delete;
    Ewmh &operator=(const Ewmh &) = delete;

    /// Must be called once, before everything else. False if the server is gone or lacks that
    /// screen.
    [[nodiscard]] bool init(xcb_connection_t *server, int screen)
    {
        xcb_intern_atom_cookie_t *const atoms = xcb_ewmh_init_atoms(server, this);
        return xcb_ewmh_init_atoms_replies(this, atoms, nullptr) != 0 && screen < nb_screens;
    }
};
