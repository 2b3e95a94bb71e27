#pragma once
// Help > About: what the program is and which version runs.
#include <QDialog>

class frmAbout : public QDialog
{
    Q_OBJECT
public:
    explicit frmAbout(QWidget *parent = nullptr);
};
