// A plain view on grey 0.27 that recolours the controls put into it: text fields (labels and
// line edits) get text of grey 0.8, buttons tagged DarkTheme::kLightTitleTag (the widget
// property "tag") a title of grey 0.9; anything else, combo boxes included, keeps its colours.
// Only direct children are recoloured. Main-thread only.
#ifndef CORVIX_WINDOW_NSDARKVIEW_H
#define CORVIX_WINDOW_NSDARKVIEW_H

#include <QWidget>

class NSDarkView : public QWidget {
    Q_OBJECT

  public:
    explicit NSDarkView(QWidget* parent = nullptr);

    // Recolours view by its kind, then adopts and shows it. Widgets created with this view as
    // their parent (as the forms create them) are recoloured when they are first polished, once
    // their properties are set.
    void addSubview(QWidget* view);

    // Labels and line edits: what the theme calls text fields.
    static bool isTextField(const QWidget* widget);
    // Sets the colour of the widget's text (its foreground role) in every state.
    static void setTextColor(QWidget* widget, const QColor& color);

  protected:
    void childEvent(QChildEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

  private:
    static void recolour(QWidget* view);
};

#endif
