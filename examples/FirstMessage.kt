import java.io.File
import velq.Rating
import velq.Velq
import velq.VelqException

/** Rates a message on the installation in the folder that is the first argument, and blocks the sender of spam. */
fun main(arguments: Array<String>) {
    val sender = "+447700900555"
    val body = "YOU HAVE WON A PRIZE, CALL NOW"
    try {
        Velq(File(arguments[0])).use { engine ->
            // Unprepared, these capitals would be lost in the engine's filter.
            val rating = engine.rate(Velq.prepare(body), sender)
            println(rating)
            if (rating != Rating.HAM) {
                engine.blackList.add(sender, "prize caller")
            }
            for (entry in engine.blackList) {
                println("${entry.number} ${entry.name}")
            }
        }
    } catch (busy: VelqException.Busy) {
        println("A data update is running: try again later.")
    }
}
