#pragma once

// The palette shared by the style sheet and the code that paints by itself.
// Each constant's name is also its placeholder in the style sheet; the order
// of the list is the order of expansion (see expandStyleSheet).

#include <QColor>
#include <QString>

inline const QColor QC_GLOB_BLACK6C_80 = QColor(0x414951);
inline const QColor QC_GLOB_BLACK6C_65 = QColor(0x656B72);
inline const QColor QC_GLOB_BLACK6C_45 = QColor(0x94999D);
inline const QColor QC_GLOB_BLACK6C_28 = QColor(0xbdbfc2);
inline const QColor QC_GLOB_BLACK6C_25 = QColor(0xc4c6c9);
inline const QColor QC_GLOB_BLACK6C_13 = QColor(0xe0e1e3);
inline const QColor QC_GLOB_BLACK6C_10 = QColor(0xe7e8ea);
inline const QColor QC_GLOB_WHITE1_D1 = QColor(0xb2b4b5);
inline const QColor QC_GLOB_WHITE1_D2 = QColor(0x4c7a9d);
inline const QColor QC_GLOB_WHITE1_L1 = QColor(0xf3f6f9);
inline const QColor QC_GLOB_WHITE1_L2 = QColor(0xf5f7f9);
inline const QColor QC_GLOB_WHITE1 = QColor(0xEBEFF2);
inline const QColor QC_GLOB_BLACK1_D2 = QColor(0x071114);
inline const QColor QC_GLOB_BLACK1_D1 = QColor(0x131617);
inline const QColor QC_GLOB_BLACK1_L0 = QColor(0x263034);
inline const QColor QC_GLOB_BLACK1_L1 = QColor(0x73888f);
inline const QColor QC_GLOB_BLACK1_L2 = QColor(0x7b8a8f);
inline const QColor QC_GLOB_BLACK1_E1B = QColor(0x1a1b22);
inline const QColor QC_GLOB_BLACK1_E2G = QColor(0x1b241e);
inline const QColor QC_GLOB_BLACK1 = QColor(0x171d1f);
inline const QColor QC_GLOB_RED1_D2 = QColor(0x9f181b);
inline const QColor QC_GLOB_RED1_D1 = QColor(0xb85759);
inline const QColor QC_GLOB_RED1_L1 = QColor(0xfa767a);
inline const QColor QC_GLOB_RED1_L2 = QColor(0xfa999c);
inline const QColor QC_GLOB_RED1 = QColor(0xf5494d);
inline const QColor QC_GLOB_GREEN1_D2 = QColor(0x137854);
inline const QColor QC_GLOB_GREEN1_D1 = QColor(0x438a71);
inline const QColor QC_GLOB_GREEN1_L1 = QColor(0x6adcb3);
inline const QColor QC_GLOB_GREEN1_L2 = QColor(0x88dcbe);
inline const QColor QC_GLOB_GREEN1_L3 = QColor(0x92fdd8);
inline const QColor QC_GLOB_GREEN1_L4 = QColor(0xb3ffe4);
inline const QColor QC_GLOB_GREEN1 = QColor(0x39b88c);
inline const QColor QC_GLOB_GREEN2_D2 = QColor(0x408a6a);
inline const QColor QC_GLOB_GREEN2_D1 = QColor(0x035b2c);
inline const QColor QC_GLOB_GREEN2_L1 = QColor(0x3cc67c);
inline const QColor QC_GLOB_GREEN2_L2 = QColor(0x61c68f);
inline const QColor QC_GLOB_GREEN2_L3 = QColor(0x8ce3b4);
inline const QColor QC_GLOB_GREEN2 = QColor(0x0a8c46);
inline const QColor QC_GLOB_BLUE1_D2 = QColor(0x154675);
inline const QColor QC_GLOB_BLUE1_D1 = QColor(0x466787);
inline const QColor QC_GLOB_BLUE1_L1 = QColor(0x71a6d9);
inline const QColor QC_GLOB_BLUE1_L2 = QColor(0x8db4d9);
inline const QColor QC_GLOB_BLUE1_L3 = QColor(0xaeceec);
inline const QColor QC_GLOB_BLUE1_L4 = QColor(0xC5DEF6);
inline const QColor QC_GLOB_BLUE1_L5 = QColor(0xD2E4F6);
inline const QColor QC_GLOB_BLUE1 = QColor(0x417bb3);
inline const QColor QC_GLOB_ORANGE1_D2 = QColor(0xa15004);
inline const QColor QC_GLOB_ORANGE1_D1 = QColor(0xb97635);
inline const QColor QC_GLOB_ORANGE1_L1 = QColor(0xfb9f48);
inline const QColor QC_GLOB_ORANGE1_L2 = QColor(0xfbb878);
inline const QColor QC_GLOB_ORANGE1_L3 = QColor(0xfdca9a);
inline const QColor QC_GLOB_ORANGE1_L4 = QColor(0xFED8B3);
inline const QColor QC_GLOB_ORANGE1_L5 = QColor(0xFEE2C7);
inline const QColor QC_GLOB_ORANGE1 = QColor(0xf77f0c);
inline const QColor QC_GLOB_PINK1_L1 = QColor(0xff7e7b);
inline const QColor QC_GLOB_PINK1_L2 = QColor(0xffa19e);
inline const QColor QC_GLOB_PINK1_D1 = QColor(0xbf5f5c);
inline const QColor QC_GLOB_PINK1_D2 = QColor(0xa61d1a);
inline const QColor QC_GLOB_PINK1 = QColor(0xff534f);
inline const QColor QC_GLOB_LILAC1_D1 = QColor(0x6c4181);
inline const QColor QC_GLOB_LILAC1_D2 = QColor(0x501370);
inline const QColor QC_GLOB_LILAC1_L1 = QColor(0xb26cd6);
inline const QColor QC_GLOB_LILAC1_L2 = QColor(0xbb88d6);
inline const QColor QC_GLOB_LILAC1_L3 = QColor(0xdb95ff);
inline const QColor QC_GLOB_LILAC1_L4 = QColor(0xe3adff);
inline const QColor QC_GLOB_LILAC1 = QColor(0x863bac);
inline const QColor QC_GLOB_YELLOW1_D1 = QColor(0xb9ac3b);
inline const QColor QC_GLOB_YELLOW1_D2 = QColor(0xa19107);
inline const QColor QC_GLOB_YELLOW1_L1 = QColor(0xfbea50);
inline const QColor QC_GLOB_YELLOW1_L2 = QColor(0xfbee7e);
inline const QColor QC_GLOB_YELLOW1_L3 = QColor(0xFDF39F);
inline const QColor QC_GLOB_YELLOW1_L4 = QColor(0xFDF6B8);
inline const QColor QC_GLOB_YELLOW1 = QColor(0xf7e017);
inline const QColor QC_GLOB_LOGO1_D2 = QColor(0x10404d);
inline const QColor QC_GLOB_LOGO1_D1 = QColor(0x315059);
inline const QColor QC_GLOB_LOGO1_L1 = QColor(0x67a9bb);
inline const QColor QC_GLOB_LOGO1_L2 = QColor(0x7eadbb);
inline const QColor QC_GLOB_LOGO1 = QColor(0x306777);
inline const QColor QC_GRAPH_BACK_GR2 = QColor(0x3A434B);
inline const QColor QC_GRAPH_BACK = QColor(0x414951);
inline const QColor QC_GRAPH_AXIS = QColor(0xc4c6c9);
inline const QColor QC_GRAPH_GRID = QColor(0x8c8c8c);
inline const QColor QC_STAT_TOTAL = QColor(0x0038A8);
inline const QColor QC_STAT_VALID = QColor(0x009E0F);
inline const QColor QC_STAT_INVALID = QColor(0xD81E05);
inline const QColor QC_STAT_BUSY = QColor(0xF7B50C);
inline const QColor QCT_GLOB_BLUE1_LIKE_D2 = QColor(0x033e6b);
inline const QColor QCT_GLOB_BLUE1_LIKE_D1 = QColor(0x25567b);
inline const QColor QCT_GLOB_BLUE1_LIKE_L2 = QColor(0x66a3d2);
inline const QColor QCT_GLOB_BLUE1_LIKE_L1 = QColor(0x3f92d2);
inline const QColor QCT_GLOB_BLUE1_LIKE = QColor(0x0b61a4);
inline const QColor QCT_GLOB_BLUE1_D1 = QColor(0x27424c);
inline const QColor QCT_GLOB_BLUE1_D2 = QColor(0x0c3342);
inline const QColor QCT_GLOB_BLUE1_L1 = QColor(0x5c9ab2);
inline const QColor QCT_GLOB_BLUE1_L2 = QColor(0x73a1b2);
inline const QColor QCT_GLOB_BLUE1_L3 = QColor(0xd9e1e4);
inline const QColor QCT_GLOB_BLUE1_L4 = QColor(0xebeff2);
inline const QColor QCT_GLOB_BLUE1 = QColor(0x245365);

// Whole style sheets for the stripe of a panel button.
inline const QString kRedStripeStyle = QStringLiteral("QWidget{background-color: #f5494d;}");
inline const QString kTransparentStripeStyle = QStringLiteral("QWidget{background-color: rgba(0, 0, 0, 0%);}");
inline const QString kGreenStripeStyle = QStringLiteral("QWidget{background-color: #39b88c;}");

// Replaces every palette placeholder in styleSheet by the colour's #rrggbb,
// as plain substrings, longer names first. Unknown names stay as they are.
QString expandStyleSheet(QString styleSheet);
