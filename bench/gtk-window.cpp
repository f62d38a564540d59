// A window with ordinary GTK controls, six elements per row; the argument is the number of rows.

#include <gtk/gtk.h>

#include <cstdlib>
#include <initializer_list>
#include <string>

int main(int argc, char **argv)
{
    gtk_init(&argc, &argv);
    const int rows = argc > 1 ? std::atoi(argv[1]) / 6 : 1;
    GtkWidget *const list = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
    for (int i = 0; i < rows; ++i) {
        const std::string number = std::to_string(i);
        GtkWidget *const row = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 2);
        for (GtkWidget *const control :
             {gtk_label_new(("Label " + number).c_str()),
              gtk_button_new_with_label(("Button " + number).c_str()), gtk_entry_new(),
              gtk_check_button_new_with_label(("Check " + number).c_str()),
              gtk_link_button_new_with_label("about:blank", ("Link " + number).c_str())})
            gtk_container_add(GTK_CONTAINER(row), control);
        gtk_container_add(GTK_CONTAINER(list), row);
    }
    GtkWidget *const scroller = gtk_scrolled_window_new(nullptr, nullptr);
    gtk_container_add(GTK_CONTAINER(scroller), list);
    GtkWidget *const window = gtk_window_new(GTK_WINDOW_TOPLEVEL);
    gtk_window_set_title(GTK_WINDOW(window), "Many controls");
    gtk_window_set_default_size(GTK_WINDOW(window), 600, 400);
    gtk_container_add(GTK_CONTAINER(window), scroller);
    gtk_widget_show_all(window);
    gtk_main();
}
