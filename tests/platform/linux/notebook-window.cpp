// A window of GTK 3 with two pages for the desktop tests, the second one in front. Both have a
// button with the same label. It prints which one was pressed.

#include <gtk/gtk.h>

#include <cstdio>

namespace {
void tell(GtkWidget *, void *what)
{
    std::puts(static_cast<const char *>(what));
    std::fflush(stdout);
}

GtkWidget *page(const char *told, const char *other)
{
    GtkWidget *const box = gtk_box_new(GTK_ORIENTATION_VERTICAL, 4);
    GtkWidget *const button = gtk_button_new_with_label("Buy now");
    g_signal_connect(button, "clicked", G_CALLBACK(tell), const_cast<char *>(told));
    gtk_container_add(GTK_CONTAINER(box), button);
    gtk_container_add(GTK_CONTAINER(box), gtk_button_new_with_label(other));
    return box;
}
} // namespace

int main(int argc, char **argv)
{
    gtk_init(&argc, &argv);
    GtkWidget *const pages = gtk_notebook_new();
    gtk_notebook_append_page(GTK_NOTEBOOK(pages), page("bought behind", "Only behind"), nullptr);
    gtk_notebook_append_page(GTK_NOTEBOOK(pages), page("bought in front", "In front"), nullptr);
    GtkWidget *const window = gtk_window_new(GTK_WINDOW_TOPLEVEL);
    gtk_window_set_title(GTK_WINDOW(window), "Notebook");
    gtk_container_add(GTK_CONTAINER(window), pages);
    gtk_widget_show_all(window);
    gtk_notebook_set_current_page(GTK_NOTEBOOK(pages), 1);
    gtk_main();
}
