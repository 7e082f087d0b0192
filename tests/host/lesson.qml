// A class as a Qt Quick host shows it: the code, the learners, the bars. The host gives `lesson`, a
// LiveClass.

import QtQuick 2.15
import Tarvo 1.0

Rectangle {
    id: screen

    property int starting: 0
    property bool live: false
    property string trouble

    function begin(server, user, password) {
        starting = lesson.signIn(server, user, password).id
    }
    function ask() {
        lesson.startPoll(PollType.TRUE_FALSE, OrdinalType.YES_NO, 2)
    }

    width: 1280
    height: 800
    color: "white"

    Connections {
        target: lesson
        function onOperationFinished(id, failure) {
            if (failure.reason !== Failure.NoReason)
                screen.trouble = failure.message
            else if (id === screen.starting && lesson.state === LiveClass.SignedIn)
                screen.starting = lesson.start().id
            else if (id === screen.starting)
                screen.live = lesson.state === LiveClass.Live
        }
    }

    Text {
        id: code
        objectName: "code"
        anchors.horizontalCenter: parent.horizontalCenter
        text: lesson.sessionCode
        font { pixelSize: 180; bold: true }
    }
    ListView {
        anchors { left: parent.left; top: code.bottom; bottom: parent.bottom; margins: 24 }
        width: parent.width / 3
        model: lesson.learners
        delegate: Text {
            objectName: "learner"
            text: name
            opacity: present ? 1 : 0.4
            font.pixelSize: 48
        }
    }
    ListView {
        id: results
        anchors { right: parent.right; top: code.bottom; bottom: parent.bottom; margins: 24 }
        width: parent.width / 2
        model: lesson.results
        delegate: Item {
            width: results.width
            height: 96
            Text {
                objectName: "label"
                text: label
                font.pixelSize: 48
            }
            Rectangle {
                objectName: "bar"
                x: 160
                width: share * 400
                height: 64
                color: "steelblue"
            }
            Text {
                anchors.right: parent.right
                objectName: "count"
                text: count
                font.pixelSize: 48
            }
        }
    }
}
